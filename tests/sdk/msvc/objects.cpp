#include "host.h"

namespace msvc_host {
namespace {

vexa::IJsonObject* parse(const Module& module, const char* text) {
  vexa::runtime::ByteBuffer bytes{0, reinterpret_cast<uint8_t*>(const_cast<char*>(text))};
  while (text[bytes.length] != '\0') {
    ++bytes.length;
  }
  vexa::IJsonObject* object = nullptr;
  expect(module.list<vexa::JsonApiList>().Parse(&bytes, &object) == vexa::kOk, "Parse");
  return object;
}

void readArray(vexa::IJsonArray* array, const Module& module) {
  expect(array->GetType() == vexa::kJsonArray && array->GetCount() == 5, "an array of five");
  int32_t number = 0;
  expect(array->GetIntegerAt(0, &number) == vexa::kOk && number == -7, "GetIntegerAt");
  uint32_t truth = 0;
  expect(array->GetBoolAt(1, &truth) == vexa::kOk && truth == 1, "GetBoolAt");
  expect(equal(array->GetStringPtrAt(2), "x"), "GetStringPtrAt");
  expect(array->GetTypeAt(3) == vexa::kJsonNull, "GetTypeAt");
  vexa::IJsonArray* inner = nullptr;
  expect(array->GetArrayAt(4, &inner) == vexa::kOk, "GetArrayAt");
  vexa::IJsonObject* added = nullptr;
  expect(inner->AddObjectAt(vexa::kJsonAtEnd, &added) == vexa::kOk, "AddObjectAt");
  added->Release();
  expect(inner->GetObjectAt(0, &added) == vexa::kOk, "GetObjectAt");
  added->Release();
  vexa::IJsonArray* another = nullptr;
  expect(inner->AddArrayAt(1, &another) == vexa::kOk, "AddArrayAt");
  another->Release();
  expect(inner->SetStringAt(2, "s") == vexa::kOk && inner->SetIntegerAt(3, 1) == vexa::kOk &&
             inner->SetBoolAt(4, 1) == vexa::kOk && inner->SetNullAt(5) == vexa::kOk,
         "the setters");
  vexa::runtime::StringObject text{};
  expect(inner->GetStringAt(2, &text) == vexa::kOk, "GetStringAt");
  expect(equal(module.strings->GetText(&text), "s"), "the string object");
  module.strings->Clear(&text);
  inner->Release();
}

// The steps that a parse is made of, on a line whose end has not come.
void useParserSteps(vexa::IHTTPRequest* request, const Module& module) {
  const auto* const bytes = reinterpret_cast<const uint8_t*>("a<>b");
  expect(request->parse(bytes, 3) == vexa::kMoreNeeded, "a line without an end");
  vexa::runtime::StringObject token{};
  expect(request->readToken("<>", &token) == vexa::kOk && token.length == 1, "readToken");
  module.strings->Clear(&token);
  expect(request->setUnfinished(bytes, 2) == vexa::kOk, "setUnfinished");
  expect(request->appendUnfinished(bytes + 2, 2) == vexa::kOk, "appendUnfinished");
  expect(request->setUnfinished(nullptr, 0) == vexa::kOk, "no pending bytes");
}

}  // namespace

void useJson(const Module& module) {
  vexa::IJsonObject* const object =
      parse(module, R"({"o": {"k": "v"}, "a": [-7, true, "x", null, []], "b": false})");
  expect(object->GetType() == vexa::kJsonObject && object->GetCount() == 3, "an object of three");
  expect(equal(object->GetKeyPtrAt(1), "a"), "GetKeyPtrAt");
  expect(object->GetTypeOf("b") == vexa::kJsonBool, "GetTypeOf");
  uint32_t truth = 1;
  expect(object->GetBool("b", &truth) == vexa::kOk && truth == 0, "GetBool");
  vexa::IJsonObject* inner = nullptr;
  expect(object->GetObject("o", &inner) == vexa::kOk, "GetObject");
  expect(equal(inner->GetStringPtr("k"), "v"), "GetStringPtr");
  inner->Release();
  vexa::IJsonArray* array = nullptr;
  expect(object->GetArray("a", &array) == vexa::kOk, "GetArray");
  readArray(array, module);
  array->Release();
  vexa::runtime::StringObject text{};
  expect(object->GetKeyAt(0, &text) == vexa::kOk && text.length == 1, "GetKeyAt");
  expect(object->SetString("s", "t") == vexa::kOk, "SetString");
  expect(object->GetString("s", &text) == vexa::kOk, "GetString");
  module.strings->Clear(&text);
  int32_t number = 0;
  expect(object->SetInteger("n", 5) == vexa::kOk && object->GetInteger("n", &number) == vexa::kOk &&
             number == 5,
         "SetInteger and GetInteger");
  expect(object->AddObject("p", &inner) == vexa::kOk, "AddObject");
  inner->Release();
  expect(object->AddArray("q", &array) == vexa::kOk, "AddArray");
  array->Release();
  expect(object->SetBool("r", 1) == vexa::kOk && object->SetNull("r") == vexa::kOk, "SetNull");
  vexa::runtime::ByteBuffer* written = nullptr;
  expect(object->ToText(&written) == vexa::kOk && written->data[0] == '{', "ToText");
  module.types->BufferRelease(written);
  expect(object->Release() == 0, "the object is gone");
}

void useWebClasses(const Module& module) {
  auto* const url = module.make<vexa::IURLParser>();
  expect(url->parse("https://a.example:444/x") == vexa::kOk, "parse");
  expect(url->getPort() == 444 && url->isHTTPS() && url->isValid(), "port and kind");
  expect(url->getLength() == 21, "getLength");
  expect(url->cmp(url) && url->cmpText("https://a.example:444/y"), "cmp and cmpText");
  expect(url->cmp("https://a.example:444"), "the overload of cmp");
  expect(url->pattern_match("https://*.example:444") == false, "one label more is needed");
  expect(url->pattern_match("https://a.example:444"), "pattern_match");
  expect(url->Release() == 0, "the parser is gone");

  auto* const request = module.make<vexa::IHTTPRequest>();
  static const char kText[] = "POST /a?b=c HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi";
  const auto* const bytes = reinterpret_cast<const uint8_t*>(kText);
  useParserSteps(request, module);
  expect(request->parse(bytes, 10) == vexa::kMoreNeeded, "half a request");
  expect(request->parse(bytes + 10, sizeof(kText) - 11) == vexa::kOk, "the other half");
  expect(equal(request->getMethod(), "POST") && request->isMethodAllowed(), "getMethod");
  expect(equal(request->getURI(), "/a?b=c") && equal(request->getPath(), "/a"), "getPath");
  expect(equal(request->getProtocolVersion(), "HTTP/1.1"), "getProtocolVersion");
  vexa::runtime::ByteBuffer body{};
  expect(request->hasBody() && request->getBodyData(&body) == vexa::kOk && body.length == 2,
         "the body");
  expect(request->getBody() == body.data, "getBody");
  char* value = nullptr;
  expect(request->getHeader("origin", &value) == vexa::kOk && equal(value, "o"), "getHeader");
  module.root->Free(value);
  expect(request->getQueryParameter("b", &value) == vexa::kOk && equal(value, "c"), "a parameter");
  module.root->Free(value);
  expect(request->Release() == 0, "the request is gone");

  auto* const response = module.make<vexa::IHTTPResponse>();
  expect(response->setStatus(404, nullptr) == vexa::kNotImplemented, "setStatus");
  expect(response->getStatusCode() == 404, "getStatusCode");
  expect(response->setProtocol("HTTP/1.0") == vexa::kOk, "setProtocol");
  expect(response->setBody("{}") == vexa::kOk, "setBody");
  expect(response->addHeader("A", "b") == vexa::kOk, "addHeader");
  uint8_t* block = nullptr;
  uint64_t size = 0;
  expect(response->serialize(&block, &size) == vexa::kOk && size > 20 && block[0] == 'H',
         "serialize");
  module.root->Free(block);
  expect(response->Release() == 0, "the response is gone");
}

void useMonitor(const Module& module) {
  auto* const monitor = module.make<vexa::IClientMonitor>();
  const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
  expect(monitor->SetChangeEvent(event) == vexa::kOk, "SetChangeEvent");
  expect(monitor->Reset() == vexa::kOk && monitor->CheckNetwork() == vexa::kOk, "Reset");
  expect(monitor->GetStatus() == vexa::IClientMonitor::kUnchanged, "GetStatus");
  expect(monitor->OnPowerEvent(18) == vexa::kOk, "OnPowerEvent");
  expect(WaitForSingleObject(event, 0) == WAIT_OBJECT_0, "the event is set");
  vexa::AdapterSnapshot* snapshot = nullptr;
  expect(monitor->TakeSnapshot(&snapshot) == vexa::kOk, "TakeSnapshot");
  expect(monitor->CompareNetwork(snapshot) == vexa::kOk, "CompareNetwork");
  HeapFree(GetProcessHeap(), 0, snapshot);
  expect(monitor->SetStatus(vexa::IClientMonitor::kUnchanged) == vexa::kOk, "SetStatus");
  expect(monitor->StartChangeThread(60) == vexa::kOk, "StartChangeThread");
  expect(monitor->StopChangeThread() == vexa::kOk, "StopChangeThread");
  expect(monitor->SetChangeEvent(nullptr) == vexa::kOk && monitor->FreeSnapshot() == vexa::kOk,
         "FreeSnapshot");
  CloseHandle(event);
  monitor->Release();
}

void useScrambler(const Module& module) {
  const auto& core = module.list<vexa::CoreList>();
  vexa::IScrambler* one = nullptr;
  vexa::IScrambler* other = nullptr;
  expect(core.CreateScrambler(256, &one) == vexa::kOk, "CreateScrambler");
  expect(
      core.CreateScramblerEx(vexa::kDefaultCipher, vexa::kScramblePlain, 256, &other) == vexa::kOk,
      "CreateScramblerEx");
  expect(one->Initialize(256) == vexa::kFail, "there is a key already");
  expect(one->CopyKeyTo(other) == vexa::kOk, "CopyKeyTo");
  vexa::runtime::ByteBuffer* hidden = nullptr;
  expect(one->ScrambleString(u"secret", &hidden) == vexa::kOk, "ScrambleString");
  char16_t* text = nullptr;
  expect(other->UnscrambleString(hidden, &text) == vexa::kOk && text[0] == u's' && text[6] == 0,
         "UnscrambleString");
  module.root->Free(text);
  expect(one->Scramble(hidden, &hidden) == vexa::kOk, "Scramble");
  expect(one->Unscramble(hidden, &hidden) == vexa::kOk && hidden->length == 12, "Unscramble");
  module.types->BufferRelease(hidden);
  expect(one->Release() == 0 && other->Release() == 0, "the scramblers are gone");
}

}  // namespace msvc_host
