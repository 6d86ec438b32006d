#include "every_slot.h"

#include <gtest/gtest.h>

#include "support/sample_certificates.h"
#include "vexa/all.h"
#include "vexa/holders.h"

namespace vexa::test {
namespace {

using runtime::ByteBuffer;

char kText[] = "{\"a\":[1,\"b\",{}]}";

// Arguments for all of them.
class Arguments {
 public:
  explicit Arguments(const SpyRuntime& spy) : spy_(spy), tables_(spy.root, spy.commonTypes) {
    spy.strings.AssignText(name.get(), "CN=Jane");
  }
  ~Arguments() {
    spy_.strings.Clear(name.get());
    spy_.strings.Clear(text.get());
  }
  Arguments(const Arguments&) = delete;
  Arguments& operator=(const Arguments&) = delete;

  // For one out buffer; what it held before is released.
  ByteBuffer** outBuffer() {
    buffer_ = BufferHolder(tables_);
    return buffer_.put();
  }
  const HostTables& tables() const { return tables_; }

  // A string object of the caller's, empty at first.
  struct String {
    runtime::StringObject object = {};
    runtime::StringObject* get() { return &object; }
  };
  String name;
  String text;
  ByteBuffer input = {sizeof(kText) - 1, reinterpret_cast<uint8_t*>(kText)};
  const SampleCertificates& samples = SampleCertificates::instance();
  runtime::CertificateList janeAlone = {samples.jane, nullptr, 1};

 private:
  const SpyRuntime& spy_;
  HostTables tables_;
  BufferHolder buffer_{tables_};
};

// Calls the slots of one list after the other.
class SlotCaller {
 public:
  SlotCaller(GetModuleInterfaceFunction lookup, const SpyRuntime& spy)
      : lookup_(lookup), spy_(spy), with_(spy) {}

  Answers callAll() {
    forEachType(AllLists(), [this](auto type) {
      using List = typename decltype(type)::type;
      const void* found = nullptr;
      ASSERT_EQ(lookup_(nullptr, ListTraits<List>::kName, &found), kOk);
      list_ = ListTraits<List>::kName;
      const auto& list = *static_cast<const List*>(found);
      note("GetModuleInfo", list.GetModuleInfo(nullptr, nullptr, nullptr));
      call(list);
    });
    return std::move(answers_);
  }

 private:
  void note(const char* slot, int32_t answer) { answers_[list_ + ' ' + slot] = answer; }
  void notePointer(const char* slot, const void* pointer) {
    note(slot, pointer != nullptr ? 1 : 0);
  }

  void call(const AscList& list) {
    notePointer("GetContext", list.GetContext());
    notePointer("GetPse", list.GetPse());
    note("PseReserved10", list.PseReserved10(nullptr, nullptr, nullptr));
    note("PseReserved12", list.PseReserved12(nullptr, nullptr, nullptr));
  }

  void call(const CoreList& list) {
    note("reserved1", list.reserved1(nullptr, nullptr, nullptr));
    list.reserved2(nullptr, nullptr, nullptr);
    note("reserved2", kOk);
    notePointer("reserved3", list.reserved3(nullptr, kText, nullptr));
    note("reserved14", list.reserved14(0, 0));
    callBuffers(list);
    uint64_t number = 0;
    note("GetCipherBlockSize", list.GetCipherBlockSize(kAes128, &number));
    note("GetCipherKeyBits", list.GetCipherKeyBits(kAes128, &number));
    InterfaceHolder<IScrambler> scrambler;
    note("CreateScrambler", list.CreateScrambler(128, scrambler.put()));
    note("CreateScramblerEx", list.CreateScramblerEx(kAes128, 1, 128, scrambler.put()));
    callScrambler(scrambler);
    BufferHolder file(with_.tables());
    note("CreatePkcs12", list.CreatePkcs12(with_.name.get(), with_.samples.janeKey,
                                           &with_.janeAlone, with_.name.get(), file.put()));
    KeyHolder key(with_.tables());
    CertificateListHolder certificates(with_.tables());
    note("OpenPkcs12", list.OpenPkcs12(file ? file.get() : &with_.input, with_.name.get(),
                                       key.put(), certificates.put()));
  }

  void callBuffers(const CoreList& list) {
    BufferHolder grown(with_.tables());
    note("AllocBuffer", list.AllocBuffer(1, grown.put()));
    if (grown) {
      grown->data[0] = 'x';
    }
    list.TerminateBuffer(grown.get());
    note("TerminateBuffer", kOk);
    note("BufferFromBytes", list.BufferFromBytes(kText, 3, with_.outBuffer()));
    note("BufferFromRange", list.BufferFromRange(kText, kText + 3, with_.outBuffer()));
    BufferHolder encoded(with_.tables());
    note("EncodeBase64", list.EncodeBase64(&with_.input, encoded.put()));
    char base64[] = "YWJj";
    const ByteBuffer in = {4, reinterpret_cast<uint8_t*>(base64)};
    note("DecodeBase64", list.DecodeBase64(&in, with_.outBuffer()));
  }

  void callScrambler(const InterfaceHolder<IScrambler>& scrambler) {
    if (!scrambler) {
      return;
    }
    note("scrambler Initialize", scrambler->Initialize(128));
    BufferHolder scrambled(with_.tables());
    note("scrambler Scramble", scrambler->Scramble(&with_.input, scrambled.put()));
    note("scrambler Unscramble",
         scrambler->Unscramble(scrambled ? scrambled.get() : &with_.input, with_.outBuffer()));
    note("scrambler ScrambleString", scrambler->ScrambleString(u"text", scrambled.put()));
    BlockHolder<char16_t> text(with_.tables());
    note("scrambler UnscrambleString",
         scrambler->UnscrambleString(scrambled ? scrambled.get() : &with_.input, text.put()));
    note("scrambler CopyKeyTo", scrambler->CopyKeyTo(scrambler.get()));
  }

  void call(const CaList& list) {
    RuntimeObjectHolder<runtime::Certificate> made(decodeAgain(with_.samples.jane));
    note("CaSetExtensionA", list.CaSetExtensionA(made.get(), nullptr, nullptr));
    note("CaSetExtensionB", list.CaSetExtensionB(made.get(), nullptr, nullptr));
    note("CaSetExtensionC", list.CaSetExtensionC(made.get(), nullptr, nullptr));
    note("CaSetExtensionD", list.CaSetExtensionD(made.get(), nullptr, nullptr));
    note("CaSetExtensionPair", list.CaSetExtensionPair(made.get(), nullptr, nullptr));
    note("SetKeyUsage", list.SetKeyUsage(made.get(), kUsageBoth));
    note("CaReserved", list.CaReserved(made.get(), 0, 0));
  }

  void call(const CertificateFunctions& list) {
    runtime::Certificate* const root = with_.samples.root;
    note("IsEncryptionCertificate", list.IsEncryptionCertificate(root));
    note("IsSignatureCertificate", list.IsSignatureCertificate(root));
    note("IsClientAuthCertificate", list.IsClientAuthCertificate(root));
    note("IsCACertificate", list.IsCACertificate(root));
    note("IsRootCACertificate", list.IsRootCACertificate(root));
    note("IsSelfIssuedEndEntity", list.IsSelfIssuedEndEntity(with_.samples.jane));
    RuntimeObjectHolder<runtime::ObjectId> usage;
    EXPECT_EQ(spy_.commonTypes.ObjectIdFromText("1.3.6.1.5.5.7.3.2", usage.put()), kOk);
    note("HasExtendedKeyUsage", list.HasExtendedKeyUsage(root, usage.get()));
    notePointer("GetCertificateValueA", list.GetCertificateValueA(root));
    notePointer("GetCertificateValueB", list.GetCertificateValueB(root));
    CertificateListHolder appended(with_.tables(), list.AppendCertificate(nullptr, root));
    notePointer("AppendCertificate", appended.get());
    list.GetSecondName(root, with_.text.get());
    note("GetSecondName", kOk);
    list.GetFirstName(root, with_.text.get());
    note("GetFirstName", kOk);
    RuntimeObjectHolder<runtime::Certificate> read;
    list.CertificateFromText("MIIB", read.put());
    notePointer("CertificateFromText", read.get());
  }

  void call(const HashTableList& list) {
    constexpr uint32_t kTexts = kHashTableText | kHashTableText << 8;
    HashTable_void* table = nullptr;
    note("CreateHashTable", list.CreateHashTable(&table, kTexts, 0));
    callTable(table);
    note("CreateHashTableEx",
         list.CreateHashTableEx(&table, 3, kHashTableNumber, kHashTableNumber));
    callTable(table);
  }

  void callTable(HashTable_void* table) {
    if (table != nullptr) {
      char key[] = "key";
      note("table Put", table->Put(key, key));
      note("table Contains", table->Contains(key));
      note("table Remove", table->Remove(key));
      EXPECT_EQ(table->Release(), 0u);
    }
  }

  void call(const JsonApiList& list) {
    InterfaceHolder<IJsonObject> object;
    note("Parse", list.Parse(&with_.input, object.put()));
    note("CreateObject", list.CreateObject(object.put()));
    if (object) {
      note("object SetString", object->SetString("key", "text"));
      note("object SetInteger", object->SetInteger("key", 1));
      InterfaceHolder<IJsonArray> array;
      note("object AddArray", object->AddArray("list", array.put()));
      note("object ToText", object->ToText(with_.outBuffer()));
      note("object GetKeyAt", object->GetKeyAt(0, with_.text.get()));
    }
  }

  void call(const NetworkList& list) {
    BlockHolder<char> cookie(with_.tables());
    note("ConvertCookiePath", list.ConvertCookiePath("a=b; Path=/x", cookie.put()));
    runtime::WideStringObject* proxy = nullptr;
    note("GetIEUserSettingProxy", list.GetIEUserSettingProxy(u"http://127.0.0.1/", &proxy));
    if (proxy != nullptr) {
      spy_.wideStrings.Destroy(proxy);
    }
    note("IsLocalHost", list.IsLocalHost("http://intranet/"));
    note("MatchesBypassList", list.MatchesBypassList("http://a.example/", u"*.example"));
  }

  void call(const TimeList& list) {
    note("GetCurrentFileTime", list.GetCurrentFileTime() > kUnixEpochTicks ? kOk : kFail);
    const char time[] = "20010909T014640";
    note("ConvertTime",
         list.ConvertTime(0, kUnixSecondsFormat, kFileTimeFormat) == kUnixEpochTicks ? kOk : kFail);
    (void)list.ConvertLibraryTime(reinterpret_cast<const runtime::LibraryTime*>(time),
                                  kUnixSecondsFormat);
    note("ConvertLibraryTime", kOk);
  }

  // The authorities' store is left alone: what is put there could not always be removed again.
  void call(const CapiList& list) {
    constexpr char16_t kContainer[] = u"vexabase every slot";
    note("CspImportCACerts", list.CspImportCACerts(0, nullptr));
    note("CspImportKey",
         list.CspImportKey(kContainer, 0, with_.samples.janeKey, with_.samples.jane));
    note("CspImport", list.CspImport(kContainer, 0, 0, with_.samples.janeKey, &with_.janeAlone));
    note("CspDeleteOwnCerts", list.CspDeleteOwnCerts(kContainer));
    note("DeleteCACertsByName", list.DeleteCACertsByName("CN=Nobody at all"));
  }

  void call(const ClassFactoryList& list) {
    InterfaceHolder<IComponent> object;
    note("CreateInstance", list.CreateInstance("no such class", &IID_IComponent, object.putVoid()));
    note("SetCreateHook", list.SetCreateHook(nullptr));
  }

  GetModuleInterfaceFunction lookup_;
  const SpyRuntime& spy_;
  Arguments with_;
  std::string list_;
  Answers answers_;
};

// Asks one object of each class.
class ClassCaller {
 public:
  ClassCaller(const ClassFactoryList& factory, const SpyRuntime& spy)
      : factory_(factory), spy_(spy), with_(spy) {}

  Answers callAll() {
    forEachType(AllClasses(), [this](auto type) {
      using Interface = typename decltype(type)::type;
      class_ = ClassTraits<Interface>::kName;
      InterfaceHolder<Interface> object;
      answers_[class_] = factory_.CreateInstance(class_.c_str(), &InterfaceTraits<Interface>::kId,
                                                 object.putVoid());
      if (object) {
        ask(*object);
      }
    });
    return std::move(answers_);
  }

 private:
  void note(const char* operation, int32_t answer) { answers_[class_ + ' ' + operation] = answer; }

  void ask(ICertificates& certificates) {
    uint32_t count = 0;
    note("GetCount", certificates.GetCount(&count));
    InterfaceHolder<ICertificate> wrapper;
    note("FindOrAdd", certificates.FindOrAdd(with_.samples.jane, wrapper.put()));
    if (wrapper) {
      note("IsEqual", wrapper->IsEqual(with_.samples.jane));
      runtime::AttributeRequest request = {kDerEncoding, {{}}, 0, nullptr};
      note("GetAttributes", wrapper->GetAttributes(&request));
    }
  }

  void ask(IClientMonitor& monitor) {
    note("Reset", monitor.Reset());
    note("CheckNetwork", monitor.CheckNetwork());
    note("GetStatus", static_cast<int32_t>(monitor.GetStatus()));
    note("StartChangeThread", monitor.StartChangeThread(1));
    note("StopChangeThread", monitor.StopChangeThread());
  }

  void ask(IHTTPRequest& request) {
    const char text[] = "POST /a%20b?x=1 HTTP/1.1\r\nOrigin: o\r\nContent-Length: 2\r\n\r\nhi";
    note("parse", request.parse(reinterpret_cast<const uint8_t*>(text), sizeof(text) - 1));
    for (const char* read :
         {request.getMethod(), request.getURI(), request.getPath(), request.getProtocolVersion()}) {
      EXPECT_NE(read, nullptr);
    }
    BlockHolder<char> value(with_.tables());
    note("getHeader", request.getHeader("Origin", value.put()));
    note("getQueryParameter", request.getQueryParameter("x", value.put()));
    ByteBuffer body = {};
    note("getBodyData", request.getBodyData(&body));
    note("readToken", request.readToken(" ", with_.text.get()));
  }

  void ask(IHTTPResponse& response) {
    note("setStatus", response.setStatus(200, nullptr));
    note("setProtocol", response.setProtocol("HTTP/1.1"));
    note("addHeader", response.addHeader("Name", "value"));
    note("setBody", response.setBody("body"));
    uint8_t* written = nullptr;
    uint64_t size = 0;
    note("serialize", response.serialize(&written, &size));
    spy_.root.Free(written);
  }

  void ask(IOwnCertificates& own) {
    note("Refresh", own.Refresh());
    uint32_t count = 0;
    note("GetCount", own.GetCount(&count));
  }

  void ask(IPse& pse) {
    note("GetContext", pse.GetContext() != nullptr ? 1 : 0);
    note("GetPSE", pse.GetPSE() != nullptr ? 1 : 0);
  }

  void ask(IURLParser& url) {
    note("parse", url.parse("https://a.example:444/x"));
    note("getPort", url.getPort());
    note("cmpText", url.cmpText("https://a.example:444/y") ? 1 : 0);
    note("pattern_match", url.pattern_match("https://*.example") ? 1 : 0);
  }

  const ClassFactoryList& factory_;
  const SpyRuntime& spy_;
  Arguments with_;
  std::string class_;
  Answers answers_;
};

}  // namespace

Answers callEverySlot(GetModuleInterfaceFunction lookup, const SpyRuntime& spy) {
  return SlotCaller(lookup, spy).callAll();
}

Answers createEveryClass(GetModuleInterfaceFunction lookup, const SpyRuntime& spy) {
  const void* found = nullptr;
  EXPECT_EQ(lookup(nullptr, kClassFactoryListName, &found), kOk);
  return ClassCaller(*static_cast<const ClassFactoryList*>(found), spy).callAll();
}

}  // namespace vexa::test
