#include "vexa/host.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "vexa/all.h"

namespace vexa::runtime {

// A table that no runtime has.
struct UnknownTable;
template <>
struct TableTraits<UnknownTable> {
  static constexpr const char* kComponent = nullptr;
  static constexpr const char* kName = "SEC_UNKNOWN_1";
};

}  // namespace vexa::runtime

// The header that a host is written on, over the built module.
namespace vexa::test {
namespace {

namespace fs = std::filesystem;

const fs::path kFiles = fs::absolute("../bin");

// What a failed call throws: its text and its result.
template <class Call>
std::string thrownBy(Call call, int32_t result = kFail) {
  try {
    call();
  } catch (const Error& error) {
    EXPECT_EQ(error.result(), result);
    return error.what();
  }
  return "(nothing)";
}

TEST(ResultNames, EveryCodeOfTheFrameworkHasItsName) {
  struct Named {
    int32_t result;
    const char* text;
  };
  constexpr Named kCodes[] = {
      {kOk, "kOk (0x00000000)"},
      {kFalse, "kFalse (0x00000001)"},
      {kMoreNeeded, "kFalse (0x00000001)"},
      {kNotImplemented, "kNotImplemented (0x80004001)"},
      {kNoInterface, "kNoInterface (0x80004002)"},
      {kNullPointer, "kNullPointer (0x80004003)"},
      {kFail, "kFail (0x80004005)"},
      {kAccessDenied, "kAccessDenied (0x80070005)"},
      {kOutOfMemory, "kOutOfMemory (0x8007000e)"},
      {kInvalidArgument, "kInvalidArgument (0x80070057)"},
      {kNullListArgument, "kNullListArgument (0xa0000002)"},
      {kUnknownList, "kUnknownList (0xa0000200)"},
      {kBadKeyLength, "kBadKeyLength (0xa010000b)"},
      {kBufferFail, "kBufferFail (0xffffffff)"},
      {2, "another code (0x00000002)"},
  };
  for (const Named& code : kCodes) {
    EXPECT_EQ(resultText(code.result), code.text);
  }
}

TEST(Check, HandsOnSuccessAndThrowsFailure) {
  EXPECT_EQ(check(kOk, "a call"), kOk);
  EXPECT_EQ(check(kMoreNeeded, "a call"), kMoreNeeded);
  EXPECT_EQ(thrownBy([] { check(kNoInterface, "a call"); }, kNoInterface),
            "a call: kNoInterface (0x80004002)");
}

TEST(Borrowed, BytesAreSeenAgain) {
  const std::string bytes("a\0b", 3);
  const runtime::ByteBuffer buffer = borrow(bytes);
  EXPECT_EQ(view(&buffer), bytes);
  EXPECT_EQ(view(nullptr), "");
  const runtime::ByteBuffer empty{};
  EXPECT_EQ(view(&empty), "");
}

TEST(HostModule, OffersListsClassesTablesAndTexts) {
  const Module module = Module::load(kFiles);
  EXPECT_EQ(&module.list<TimeList>(), module.tryList<TimeList>());
  EXPECT_TRUE(module.make<IURLParser>());
  EXPECT_TRUE(module.table<runtime::WideStringTable>());
  EXPECT_NE(module.runtimeFunction<decltype(velmora_live_blocks)>("velmora_live_blocks"), nullptr);
  EXPECT_EQ(module.runtimeFunction<void()>("no_such_function"), nullptr);
  String text = module.string();
  EXPECT_EQ(text.assign("Müller"), kOk);
  EXPECT_EQ(text.view(), "Müller");
  BufferHolder buffer(module.tables());
  EXPECT_EQ(module.commonTypes().BufferFromHex("0102", buffer.put()), kOk);
  EXPECT_EQ(view(buffer.get()), "\x01\x02");
}

TEST(HostModule, SaysWhatItDoesNotOffer) {
  const Module module = Module::load(kFiles / kModuleFile);
  const void* list = &module;
  EXPECT_EQ(module.tryFind("no such list", &list), kUnknownList);
  EXPECT_EQ(module.tryList<TimeList>("no such list"), nullptr);
  EXPECT_EQ(thrownBy([&] { module.list<TimeList>("no such list"); }, kUnknownList),
            "no such list: kUnknownList (0xa0000200)");
  InterfaceHolder<IURLParser> object;
  const int32_t result = module.tryMake(object, "no.such.class");
  EXPECT_LT(result, 0);
  EXPECT_FALSE(object);
  EXPECT_EQ(thrownBy([&] { module.make<IURLParser>("no.such.class"); }, result),
            "no.such.class: " + resultText(result));
  EXPECT_FALSE(module.tryTable<runtime::UnknownTable>());
  EXPECT_EQ(thrownBy([&] { module.table<runtime::UnknownTable>(); }),
            "the runtime has no SEC_UNKNOWN_1: kFail (0x80004005)");
}

TEST(HostModule, TellsWhyAFileCannotBeLoaded) {
  const fs::path missing = kFiles / "no-such-module";
  Module module;
  std::string reason;
  EXPECT_EQ(Module::tryLoad(missing, module, {}, &reason), kFail);
  EXPECT_EQ(reason.rfind(pathText(missing) + ": cannot be loaded: ", 0), 0u) << reason;
  EXPECT_GT(reason.size(), (pathText(missing) + ": cannot be loaded: ").size());
  EXPECT_EQ(Module::tryLoad(missing, module), kFail) << "without a wish for the reason";
  const fs::path runtime = kFiles / kRuntimeFile;
  EXPECT_EQ(thrownBy([&] { Module::load(runtime); }),
            pathText(runtime) + ": not a module: an export is missing: kFail (0x80004005)");
}

TEST(HostModule, TellsThatItsRuntimeIsMissing) {
  const fs::path alone = fs::absolute("module-without-runtime");
  fs::create_directory(alone);
  fs::copy_file(kFiles / kModuleFile, alone / kModuleFile, fs::copy_options::overwrite_existing);
  Module module;
  std::string reason;
  EXPECT_LT(Module::tryLoad(alone, module, {}, &reason), 0);
  EXPECT_EQ(reason,
            "the module does not start: velmora must stand beside it, or in \"lib\" beside its "
            "\"bin\"");
  EXPECT_LT(Module::tryLoad(alone / kModuleFile, module, {}, nullptr), 0);
  fs::remove_all(alone);
}

TEST(HostModule, TakesTheRuntimeOfItsHost) {
  const Runtime runtime = Runtime::load(kFiles);
  ASSERT_EQ(&runtime.root(), runtime.tryRoot());
  LoadOptions options;
  options.root = &runtime.root();
  options.hostName = "host";
  const Module module = Module::load(kFiles, options);
  EXPECT_EQ(&module.root(), &runtime.root());
  EXPECT_TRUE(module.make<IURLParser>());
}

TEST(HostModule, MovesAndEndsOnce) {
  Module first = Module::load(kFiles);
  Module second = std::move(first);
  EXPECT_TRUE(second.make<IURLParser>());
  second = Module();
  Module third = Module::load(kFiles);
  third.close();
  third.close();
}

TEST(HostRuntime, IsNotFoundInAnEmptyFolder) {
  const fs::path folder = fs::absolute("folder-without-runtime");
  fs::create_directory(folder);
  EXPECT_EQ(Runtime::tryLoad(folder).tryRoot(), nullptr);
  EXPECT_EQ(thrownBy([&] { Runtime::load(folder); }),
            "the runtime in " + pathText(folder) + " cannot be used: kFail (0x80004005)");
  fs::remove(folder);
}

TEST(HostRuntime, Moves) {
  Runtime first = Runtime::load(kFiles);
  const runtime::RootList* const root = first.tryRoot();
  Runtime second = std::move(first);
  EXPECT_EQ(second.tryRoot(), root);
  Runtime third;
  third = std::move(second);
  EXPECT_EQ(third.tryRoot(), root);
  EXPECT_NE(third.function<decltype(velmora_live_blocks)>("velmora_live_blocks"), nullptr);
}

}  // namespace
}  // namespace vexa::test
