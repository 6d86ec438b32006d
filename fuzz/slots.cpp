#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "harness.h"
#include "json/jsonapi_list.h"
#include "module/class_factory_list.h"
#include "module/core_list.h"
#include "vexa/certificates.h"
#include "vexa/client_monitor.h"
#include "vexa/component.h"
#include "vexa/http_request.h"
#include "vexa/http_response.h"
#include "vexa/json.h"
#include "vexa/own_certificates.h"
#include "vexa/pse.h"
#include "vexa/scrambler.h"
#include "vexa/url_parser.h"

// Objects of every class made, shared, asked for interfaces, used and released in any order, with
// allocations that fail here and there: counts follow the references, and when all are released and
// the module has ended, nothing is left. Each byte is a step and the shelf that it works on.
extern "C" int32_t module_final();

namespace vexa::fuzz {
namespace {

constexpr size_t kShelves = 8;

constexpr struct {
  const char* name;
  const Guid& id;
  bool isShared;  // one object for all, which the module holds, too
} kClasses[] = {
    {kCertificatesClassName, IID_IComponent, true},
    {kClientMonitorClassName, IID_IClientMonitor, true},
    {kHttpRequestClassName, IID_IHTTPRequest, false},
    {kHttpResponseClassName, IID_IHTTPResponse, false},
    {kOwnCertificatesClassName, IID_IComponent, true},
    {kPseClassName, IID_IComponent, true},
    {kUrlParserClassName, IID_IURLParser, false},
    {"no class", IID_IComponent, false},
};

// One reference; `kind` is the class it was made of, or one of those behind the classes.
struct Item {
  IComponent* object = nullptr;
  size_t kind = 0;
};
constexpr size_t kJsonKind = std::size(kClasses);
constexpr size_t kScramblerKind = kJsonKind + 1;
constexpr size_t kKinds = kScramblerKind + 1;

class Shelves {
 public:
  Shelves() = default;
  Shelves(const Shelves&) = delete;
  Shelves& operator=(const Shelves&) = delete;
  ~Shelves() {
    for (Item& item : items_) {
      drop(item);
    }
  }

  void step(uint8_t what, uint8_t detail) {
    Item& item = items_[what >> 5];
    Item& other = items_[detail >> 5];
    switch (what & 7) {
      case 0:
      case 1:
        drop(item);
        return make(item, detail % kKinds);
      case 2:
        return drop(item);
      case 3:
        return share(item, other);
      case 4:
        return ask(item, other, detail);
      case 5:
        return use(item, detail);
      case 6:
        return askForNothing(item);
      default:
        return count(item);
    }
  }

 private:
  void drop(Item& item) {
    if (item.object != nullptr) {
      const bool isLast = references(item) == 1;
      const uint32_t left = item.object->Release();
      require(!isLast || isHeldByModule(item) || left == 0, "the last reference is the last");
      item = {};
    }
  }

  // How many of the shelves hold this object; interfaces of one object may lie apart, but each
  // class is asked for one only.
  size_t references(const Item& item) const {
    size_t count = 0;
    for (const Item& candidate : items_) {
      count += candidate.object == item.object ? 1 : 0;
    }
    return count;
  }
  static bool isHeldByModule(const Item& item) {
    return item.kind < std::size(kClasses) && kClasses[item.kind].isShared;
  }

  void make(Item& item, size_t kind) {
    void* made = this;
    int32_t result = kFail;
    if (kind == kJsonKind) {
      IJsonObject* object = nullptr;
      result = json::kJsonApi.CreateObject(&object);
      made = object;
    } else if (kind == kScramblerKind) {
      IScrambler* object = nullptr;
      result = module::kCoreList.CreateScrambler(128, &object);
      made = object;
    } else {
      result =
          module::kClassFactoryList.CreateInstance(kClasses[kind].name, &kClasses[kind].id, &made);
    }
    require((result == kOk) == (made != nullptr && made != this), "an object exactly on success");
    item = {result == kOk ? static_cast<IComponent*>(made) : nullptr, kind};
  }

  void share(const Item& item, Item& other) {
    if (item.object != nullptr && &item != &other) {
      drop(other);
      require(item.object->AddRef() > references(item), "a reference more");
      other = item;
    }
  }

  // The same interface again is the same pointer; the component's is on the shelf for a moment.
  void ask(const Item& item, Item& other, uint8_t detail) {
    if (item.object == nullptr) {
      return;
    }
    const bool isOwn = item.kind < std::size(kClasses) && detail % 2 == 0;
    const Guid& id = isOwn ? kClasses[item.kind].id : IID_IComponent;
    void* found = nullptr;
    require(item.object->QueryInterface(&id, &found) == kOk && found != nullptr, "an interface");
    auto* const object = static_cast<IComponent*>(found);
    if (found != item.object || &item == &other) {
      object->Release();
    } else {
      drop(other);
      other = item;
    }
  }

  static void askForNothing(const Item& item) {
    static constexpr Guid kNobody{0x12345678, 0, 0, {}};
    void* found = &found;
    if (item.object != nullptr) {
      require(failed(item.object->QueryInterface(&kNobody, &found)) && found == nullptr,
              "nobody knows it");
    }
  }

  static void count(const Item& item) {
    if (item.object != nullptr) {
      const uint32_t before = item.object->AddRef();
      require(item.object->AddRef() == before + 1, "counted up");
      require(item.object->Release() == before, "counted down");
      require(item.object->Release() == before - 1, "as it was");
    }
  }

  static void use(const Item& item, uint8_t detail) {
    if (item.object == nullptr || item.kind >= std::size(kClasses)) {
      return;
    }
    if (kClasses[item.kind].name == kUrlParserClassName) {
      auto* const parser = static_cast<IURLParser*>(item.object);
      static constexpr const char* kUrls[] = {"https://a.example:8080/x", "http://", "nothing"};
      parser->parse(kUrls[detail % std::size(kUrls)]);
      parser->cmpText(kUrls[detail / 3 % std::size(kUrls)]);
    } else if (kClasses[item.kind].name == kHttpRequestClassName) {
      static constexpr std::string_view kText =
          "POST /a?b=c HTTP/1.1\r\nD: e\r\nContent-Length: 1\r\n\r\n";
      const std::string_view piece = kText.substr(detail % kText.size());
      static_cast<IHTTPRequest*>(item.object)
          ->parse(reinterpret_cast<const uint8_t*>(piece.data()), piece.size());
    }
  }

  std::array<Item, kShelves> items_;
};

void check(std::string_view input) {
  Shelves shelves;
  const FailingAllocation failing(static_cast<uint8_t>(input[0]));
  for (size_t i = 1; i + 1 < input.size(); i += 2) {
    shelves.step(static_cast<uint8_t>(input[i]), static_cast<uint8_t>(input[i + 1]));
  }
}

void checkLifetime(std::string_view input) {
  const runtime::RootList* root = nullptr;
  require(quorix_get_f_list(0, 0, &root, 0, "", 0) == kOk, "the runtime starts");
  const uint64_t before = velmora_live_blocks();
  require(module_init(root, nullptr) == kOk, "the module starts");
  if (!input.empty()) {
    check(input);
  }
  require(module_final() == kOk, "the module ends");
  require(velmora_live_blocks() == before, "no block is left");
  require(velmora_bound_interfaces() == 0, "no table is left");
}

}  // namespace
}  // namespace vexa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vexa::fuzz::checkLifetime({reinterpret_cast<const char*>(data), size});
  return 0;
}
