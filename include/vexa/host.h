#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "vexa/class_factory.h"
#include "vexa/component.h"
#include "vexa/holders.h"
#include "vexa/module.h"
#include "vexa/runtime/reference.h"
#include "vexa/runtime/strings.h"
#include "vexa/shared_library.h"

// All that a host needs to load the module, in one header on the standard library alone:
//
//   const auto module = vexa::Module::load("C:/Program Files/Example/bin");
//   const auto url = module.make<vexa::IURLParser>();
//   const auto& times = module.list<vexa::TimeList>();
//
// Functions that can fail come twice: load, list, make and table throw vexa::Error; those called
// try... return a result code or null and work without exceptions.
namespace vexa {

#if defined(__cpp_exceptions) || defined(_CPPUNWIND)
#define VEXA_EXCEPTIONS 1
#endif

// "kFail (0x80004005)"
inline std::string resultText(int32_t result) {
  constexpr char kDigits[] = "0123456789abcdef";
  std::string text = resultName(result);
  text += " (0x";
  for (int shift = 28; shift >= 0; shift -= 4) {
    text += kDigits[static_cast<uint32_t>(result) >> shift & 15u];
  }
  return text + ")";
}

#ifdef VEXA_EXCEPTIONS
// A failed call, with its result code.
class Error : public std::runtime_error {
 public:
  Error(const std::string& what, int32_t result)
      : std::runtime_error(what + ": " + resultText(result)), result_(result) {}

  int32_t result() const { return result_; }

 private:
  int32_t result_;
};

// Throws when `result` is a failure; hands it on when it is not.
inline int32_t check(int32_t result, const char* what) {
  if (failed(result)) {
    throw Error(what, result);
  }
  return result;
}
#endif

// UTF-8, on every platform.
inline std::string pathText(const std::filesystem::path& path) {
  const auto text = path.u8string();  // of char8_t in C++20
  return std::string(text.begin(), text.end());
}

// A byte buffer over bytes of the host's own, for arguments: the module reads it only.
inline runtime::ByteBuffer borrow(std::string_view bytes) {
  return {bytes.size(), reinterpret_cast<uint8_t*>(const_cast<char*>(bytes.data()))};
}

// The bytes of a buffer; none for null.
inline std::string_view view(const runtime::ByteBuffer* buffer) {
  return buffer == nullptr || buffer->length == 0
             ? std::string_view()
             : std::string_view(reinterpret_cast<const char*>(buffer->data),
                                static_cast<size_t>(buffer->length));
}

// A root list with the reference runtime behind it, for a host that loads velmora by itself.
class Runtime {
 public:
  Runtime() = default;
  Runtime(Runtime&&) = default;
  Runtime& operator=(Runtime&& other) noexcept {
    root_ = std::move(other.root_);  // before the library that it comes from
    library_ = std::move(other.library_);
    return *this;
  }

  // From the folder that holds velmora; tryRoot() is null when that fails.
  static Runtime tryLoad(const std::filesystem::path& folder) {
    return of(SharedLibrary::load(folder / kRuntimeFile));
  }
  // The velmora that the module has loaded.
  static Runtime loaded() { return of(SharedLibrary::loaded(kRuntimeFile)); }

  const runtime::RootList* tryRoot() const { return root_.get(); }
  // A function of the reference runtime beside its tables (vexa/runtime/reference.h); null with
  // another runtime.
  template <class Function>
  Function* function(const char* name) const {
    return library_.find<Function*>(name);
  }

#ifdef VEXA_EXCEPTIONS
  static Runtime load(const std::filesystem::path& folder) {
    Runtime runtime = tryLoad(folder);
    if (runtime.tryRoot() == nullptr) {
      throw Error("the runtime in " + pathText(folder) + " cannot be used", kFail);
    }
    return runtime;
  }
  const runtime::RootList& root() const { return *root_; }
#endif

 private:
  static Runtime of(SharedLibrary library) {
    Runtime runtime;
    runtime.library_ = std::move(library);
    const auto getRootList =
        runtime.library_.find<runtime::GetRootListFunction>(runtime::kGetRootListExport);
    if (getRootList != nullptr) {
      getRootList(0, 0, runtime.root_.put(), 0, "", 0);
    }
    return runtime;
  }

  struct RootPolicy : PointerPolicy<const runtime::RootList> {
    static void release(const runtime::RootList* root) { root->ReleaseRoot(root); }
  };

  SharedLibrary library_;
  Holder<RootPolicy> root_;
};

template <class Table>
struct TablePolicy : PointerPolicy<const Table> {
  TablePolicy() = default;
  explicit TablePolicy(const runtime::RootList& root) : giver(&root) {}
  void release(const Table* table) const {
    const void* given = table;
    giver->ReleaseInterface(&given);
  }

  const runtime::RootList* giver = nullptr;
};

// A table of the runtime, given back at the end. The root list must live longer.
template <class Table>
class TableHolder : public Holder<TablePolicy<Table>> {
 public:
  TableHolder() = default;
  // Empty when the runtime has no such table.
  explicit TableHolder(const runtime::RootList& root)
      : Holder<TablePolicy<Table>>(TablePolicy<Table>(root), tableOf(root)) {}

 private:
  static const Table* tableOf(const runtime::RootList& root) {
    using Traits = runtime::TableTraits<Table>;
    const void* table = nullptr;
    const int32_t result = root.GetInterface(Traits::kComponent, Traits::kName, &table);
    return result == 0 ? static_cast<const Table*>(table) : nullptr;
  }
};

// A string object of the host's, for slots that fill one.
class String {
 public:
  explicit String(const runtime::StringTable& strings) : strings_(&strings) {}
  String(const String&) = delete;
  String& operator=(const String&) = delete;
  ~String() { strings_->Clear(&string_); }

  runtime::StringObject* get() { return &string_; }
  // kOk, kOutOfMemory.
  int32_t assign(std::string_view text) {
    return strings_->AssignBytes(&string_, text.data(), text.size());
  }
  std::string_view view() const {
    return {strings_->GetText(&string_), static_cast<size_t>(strings_->GetLength(&string_))};
  }

 private:
  const runtime::StringTable* strings_;
  runtime::StringObject string_{};
};

struct LoadOptions {
  const runtime::RootList* root = nullptr;  // outlives the module; null: it loads velmora by itself
  const char* hostName = nullptr;           // registered with the first lookup; outlives the module
};

// The loaded and started module. Everything obtained from it must be released before it ends. Moves
// and never copies; the host serialises start and end.
class Module {
 public:
  Module() = default;
  Module(Module&&) = default;
  Module& operator=(Module&& other) noexcept {
    close();
    state_ = std::move(other.state_);
    return *this;
  }
  ~Module() { close(); }

  // Loads the module from a folder, or from its file, and starts it. kFail: the file cannot be
  // loaded, or the start failed; `reason` says more.
  static int32_t tryLoad(const std::filesystem::path& path, Module& out,
                         const LoadOptions& options = {}, std::string* reason = nullptr) {
    Module module;
    module.state_ = std::make_unique<State>();
    std::string ignored;
    const int32_t result =
        module.state_->start(path, options, reason != nullptr ? *reason : ignored);
    if (!failed(result)) {
      out = std::move(module);
    }
    return result;
  }

  // Ends the module, whose library stays loaded until the destructor. Nothing else may be called
  // then.
  void close() {
    if (state_ != nullptr) {
      state_->end();
    }
  }

  // A function list by its name alone.
  int32_t tryFind(const char* name, const void** list) const { return state_->find(name, list); }
  // A function list by its type, or null. The name that a list goes by can be another's.
  template <class List>
  const List* tryList(const char* name = ListTraits<List>::kName) const {
    const void* list = nullptr;
    return failed(state_->find(name, &list)) ? nullptr : static_cast<const List*>(list);
  }
  // A new object of the class that has this interface, or the one instance of a singleton class.
  template <class Interface>
  int32_t tryMake(InterfaceHolder<Interface>& out,
                  const char* className = ClassTraits<Interface>::kName) const {
    const Guid id = InterfaceTraits<Interface>::kId;
    return state_->classes->CreateInstance(className, &id, out.putVoid());
  }
  // A table of the runtime, or an empty holder.
  template <class Table>
  TableHolder<Table> tryTable() const {
    return TableHolder<Table>(*state_->root);
  }

  const runtime::RootList& root() const { return *state_->root; }
  const runtime::CommonTypes& commonTypes() const { return *state_->commonTypes; }
  const runtime::StringTable& strings() const { return *state_->strings; }
  // For holders: `vexa::BufferHolder text(module.tables());`
  HostTables tables() const { return {root(), commonTypes()}; }
  String string() const { return String(strings()); }
  // A function of the reference runtime beside its tables; null with another runtime.
  template <class Function>
  Function* runtimeFunction(const char* name) const {
    return state_->runtime.function<Function>(name);
  }

#ifdef VEXA_EXCEPTIONS
  static Module load(const std::filesystem::path& path, const LoadOptions& options = {}) {
    Module module;
    std::string reason;
    const int32_t result = tryLoad(path, module, options, &reason);
    if (failed(result)) {
      throw Error(reason, result);
    }
    return module;
  }

  template <class List>
  const List& list(const char* name = ListTraits<List>::kName) const {
    const void* list = nullptr;
    check(state_->find(name, &list), name);
    return *static_cast<const List*>(list);
  }
  template <class Interface>
  InterfaceHolder<Interface> make(const char* className = ClassTraits<Interface>::kName) const {
    InterfaceHolder<Interface> object;
    check(tryMake(object, className), className);
    return object;
  }
  template <class Table>
  TableHolder<Table> table() const {
    TableHolder<Table> table = tryTable<Table>();
    if (!table) {
      throw Error(std::string("the runtime has no ") + runtime::TableTraits<Table>::kName, kFail);
    }
    return table;
  }
#endif

 private:
  // What belongs to one start. In the order in which it is obtained: members go in the reverse.
  struct State {
    SharedLibrary library;
    Runtime runtime;
    const runtime::RootList* root = nullptr;
    TableHolder<runtime::CommonTypes> commonTypes;
    TableHolder<runtime::StringTable> strings;
    ModuleFinalFunction final = nullptr;
    GetModuleInterfaceFunction lookup = nullptr;
    const char* hostName = nullptr;
    const ClassFactoryList* classes = nullptr;

    ~State() { end(); }

    int32_t start(const std::filesystem::path& path, const LoadOptions& options,
                  std::string& reason) {
      std::error_code ignored;
      const auto file = std::filesystem::is_directory(path, ignored) ? path / kModuleFile : path;
      library = SharedLibrary::load(file);
      if (!library) {
        reason = pathText(file) + ": cannot be loaded: " + SharedLibrary::lastError();
        return kFail;
      }
      const auto init = library.find<ModuleInitFunction>(kModuleInitExport);
      final = library.find<ModuleFinalFunction>(kModuleFinalExport);
      if (init == nullptr || final == nullptr) {
        final = nullptr;
        reason = pathText(file) + ": not a module: an export is missing";
        return kFail;
      }
      // A start that got as far as the runtime needs its end; for one that did not this does
      // nothing.
      const int32_t result = init(options.root, &lookup);
      if (failed(result)) {
        reason =
            "the module does not start: velmora must stand beside it, or in \"lib\" beside "
            "its \"bin\"";
        return result;
      }
      hostName = options.hostName;
      return bind(options.root, reason);
    }

    // The heap and the strings that the host shares with the module.
    int32_t bind(const runtime::RootList* given, std::string& reason) {
      runtime = Runtime::loaded();
      root = given != nullptr ? given : runtime.tryRoot();
      const void* list = nullptr;
      if (root != nullptr && !failed(find(kClassFactoryListName, &list))) {
        classes = static_cast<const ClassFactoryList*>(list);
        commonTypes = TableHolder<vexa::runtime::CommonTypes>(*root);
        strings = TableHolder<vexa::runtime::StringTable>(*root);
      }
      if (classes == nullptr || !commonTypes || !strings) {
        reason = "the module has no class factory, or its runtime lacks a table";
        return kFail;
      }
      return kOk;
    }

    int32_t find(const char* name, const void** list) const { return lookup(hostName, name, list); }

    void end() {
      strings = {};
      commonTypes = {};
      if (final != nullptr) {
        std::exchange(final, nullptr)();
      }
    }
  };

  std::unique_ptr<State> state_;
};

}  // namespace vexa
