// send_power_event CODE: tells the running host what Windows would tell it of sleep and wake-up.
// Exit status 0: the host took it.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("send_power_event CODE\n", stderr);
    return 2;
  }
  const HWND window = FindWindowExW(HWND_MESSAGE, nullptr, L"vexahost power events", nullptr);
  if (window == nullptr) {
    std::fputs("no host is listening\n", stderr);
    return 1;
  }
  const auto code = static_cast<WPARAM>(std::strtoul(arguments[1], nullptr, 10));
  return SendMessageW(window, WM_POWERBROADCAST, code, 0) == TRUE ? 0 : 1;
}
