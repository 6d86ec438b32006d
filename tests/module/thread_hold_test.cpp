#include <gtest/gtest.h>

#include <filesystem>
#include <set>

#include "vexa/all.h"
#include "vexa/holders.h"
#include "vexa/shared_library.h"
// After the headers that include windows.h.
#include <tlhelp32.h>

namespace vexa::test {
namespace {

std::set<DWORD> threads() {
  std::set<DWORD> ids;
  const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  THREADENTRY32 entry{};
  entry.dwSize = sizeof(entry);
  for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
    if (entry.th32OwnerProcessID == GetCurrentProcessId()) {
      ids.insert(entry.th32ThreadID);
    }
  }
  CloseHandle(snapshot);
  return ids;
}

bool isLoaded() { return GetModuleHandleA(kModuleFile) != nullptr; }

// The built module with a monitor whose change thread runs.
class ChangeThread : public testing::Test {
 protected:
  void SetUp() override {
    library = SharedLibrary::load(std::filesystem::absolute("../bin") / kModuleFile);
    GetModuleInterfaceFunction lookup = nullptr;
    ASSERT_EQ(library.find<ModuleInitFunction>(kModuleInitExport)(nullptr, &lookup), kOk);
    const void* found = nullptr;
    ASSERT_EQ(lookup(nullptr, kClassFactoryListName, &found), kOk);
    ASSERT_EQ(static_cast<const ClassFactoryList*>(found)->CreateInstance(
                  kClientMonitorClassName, &IID_IClientMonitor, monitor.putVoid()),
              kOk);
    ASSERT_EQ(monitor->Reset(), kOk);
  }

  SharedLibrary library;
  InterfaceHolder<IClientMonitor> monitor;
};

TEST_F(ChangeThread, KeepsTheModuleLoadedUntilItEnds) {
  const std::set<DWORD> before = threads();
  ASSERT_EQ(monitor->StartChangeThread(1), kOk);
  HANDLE thread = nullptr;
  for (const DWORD id : threads()) {
    if (before.count(id) == 0) {
      thread = OpenThread(SYNCHRONIZE, FALSE, id);
    }
  }
  ASSERT_NE(thread, nullptr);
  IClientMonitor* const running = monitor.release();  // lives as long as the module does
  library = SharedLibrary();
  EXPECT_TRUE(isLoaded()) << "the host has let go, the thread has not";
  EXPECT_EQ(running->SetStatus(1), kOk) << "which ends the thread";
  EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
  EXPECT_FALSE(isLoaded()) << "its last reference went with the thread";
  CloseHandle(thread);
}

TEST_F(ChangeThread, LeavesTheModuleToTheHostWhenItIsStopped) {
  for (int i = 0; i < 3; ++i) {
    ASSERT_EQ(monitor->StartChangeThread(3600), kOk);
    ASSERT_EQ(monitor->StopChangeThread(), kOk);
  }
  monitor.reset();
  EXPECT_EQ(library.find<ModuleFinalFunction>(kModuleFinalExport)(), kOk);
  EXPECT_TRUE(isLoaded());
  library = SharedLibrary();
  EXPECT_FALSE(isLoaded());
}

}  // namespace
}  // namespace vexa::test
