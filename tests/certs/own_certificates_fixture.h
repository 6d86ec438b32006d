#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "raw_certificates.h"
#include "support/module_fixture.h"
#include "vexa/own_certificates.h"

namespace vexa::test {

using runtime::OwnCertificateList;
using runtime::OwnCertificateRecord;

// A runtime object that counts.
struct FakeObject {
  runtime::Object object{&table()};
  uint32_t references = 1;
  int releasedAt = 0;  // place in the order of releases

  static inline int releases = 0;
  static FakeObject& self(void* o) { return *static_cast<FakeObject*>(o); }
  static const runtime::ObjectHeader& table() {
    static const runtime::ObjectHeader header = [] {
      runtime::ObjectHeader h{};
      h.AddRef = [](runtime::Object* o) { return ++self(o).references; };
      h.Release = [](runtime::Object* o) {
        self(o).releasedAt = ++releases;
        return --self(o).references;
      };
      h.Duplicate = [](runtime::Object* o, void** copy) {
        ++self(o).references;
        *copy = o;
        return kOk;
      };
      return h;
    }();
    return header;
  }
};

// The context and the PSE behind it, and what they were asked.
struct FakeWorld {
  runtime::SecurityContextTable contextTable{};
  runtime::PseTable pseTable{};
  struct {
    const runtime::SecurityContextTable* table;
    FakeObject counter;
  } context{};
  struct {
    const runtime::PseTable* table;
    FakeObject counter;
  } pse{};
  std::vector<std::string> calls;
  runtime::ContextParameters parameters{};
  std::string applicationName;
  bool hasContext = true;
  bool hasPse = true;
  int32_t listResult = kOk;
  std::vector<OwnCertificateRecord*>
      records;  // what the next listing gives; null for an empty node
  std::vector<OwnCertificateRecord*> released;
};
inline FakeWorld world;

inline OwnCertificateList* makeList() {
  OwnCertificateList* head = nullptr;
  OwnCertificateList** link = &head;
  for (OwnCertificateRecord* record : world.records) {
    *link = static_cast<OwnCertificateList*>(
        SpyRuntime::current().root.Allocate(sizeof(OwnCertificateList)));
    if (*link == nullptr) {
      while (head != nullptr) {
        OwnCertificateList* const next = head->next;
        SpyRuntime::current().root.Free(head);
        head = next;
      }
      return nullptr;
    }
    (*link)->record = record;
    link = &(*link)->next;
  }
  return head;
}

class OwnCertificates : public ModuleTest {
 protected:
  void SetUp() override {
    world = {};
    world.contextTable.header.Release = [](runtime::Object*) -> uint32_t {
      world.calls.push_back("release context");
      return 0;
    };
    world.contextTable.GetPse = [](runtime::SecurityContext*, runtime::Pse** out) {
      world.calls.push_back("get PSE");
      *out = world.hasPse ? reinterpret_cast<runtime::Pse*>(&world.pse) : nullptr;
      return world.hasPse ? kOk : kFail;
    };
    world.pseTable.header.Release = [](runtime::Object*) -> uint32_t {
      world.calls.push_back("release PSE");
      return 0;
    };
    world.pseTable.ListOwnCertificates = [](runtime::Pse*, const void* option1, const void* option2,
                                            OwnCertificateList** out) {
      EXPECT_EQ(option1, nullptr);
      EXPECT_EQ(option2, nullptr);
      world.calls.push_back("list");
      *out = world.listResult == kOk ? makeList() : nullptr;
      return *out == nullptr && !world.records.empty() && world.listResult == kOk
                 ? kOutOfMemory
                 : world.listResult;
    };
    world.context.table = &world.contextTable;
    world.pse.table = &world.pseTable;
    spy.asc.CreateContext = [](const runtime::ContextParameters* parameters,
                               runtime::SecurityContext** out) {
      world.calls.push_back("create context");
      world.parameters = *parameters;
      world.applicationName = parameters->applicationName;
      *out =
          world.hasContext ? reinterpret_cast<runtime::SecurityContext*>(&world.context) : nullptr;
      return world.hasContext ? kOk : kFail;
    };
    spy.pse.OwnListRelease = [](OwnCertificateList* head) {
      world.calls.push_back("release list");
      while (head != nullptr) {
        OwnCertificateList* const next = head->next;
        if (head->record != nullptr) {
          world.released.push_back(head->record);
        }
        SpyRuntime::current().root.Free(head);
        head = next;
      }
    };
    spy.pse.OwnRecordRelease = [](OwnCertificateRecord* record) {
      world.released.push_back(record);
    };
    ModuleTest::SetUp();
  }

  void* own() { return create(kOwnCertificatesClassName, IID_IOwnCertificates); }
  static uint32_t count(void* container) {
    uint32_t number = 99;
    EXPECT_EQ(raw::getCount(container, &number), kOk);
    return number;
  }
  static void* item(void* container, uint32_t index) {
    void* found = nullptr;
    EXPECT_EQ(raw::getItem(container, index, &found), kOk);
    raw::release(found);
    return found;
  }

  OwnCertificateRecord a{};
  OwnCertificateRecord b{};
  OwnCertificateRecord c{};
};

}  // namespace vexa::test
