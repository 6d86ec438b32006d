// send_power_event CODE: tells every running host what Windows would tell it of sleep and wake-up.
// Exit status 0: a host took it.
#include <windows.h>

#include <cstdio>
#include <cstdlib>

int main(int count, char** arguments) {
  if (count != 2) {
    std::fputs("send_power_event CODE\n", stderr);
    return 2;
  }
  const auto code = static_cast<WPARAM>(std::strtoul(arguments[1], nullptr, 10));
  bool wasTaken = false;
  // Windows, too, tells everybody.
  for (HWND window = nullptr;
       (window = FindWindowExW(HWND_MESSAGE, window, L"vexahost power events", nullptr)) !=
       nullptr;) {
    wasTaken |= SendMessageW(window, WM_POWERBROADCAST, code, 0) == TRUE;
  }
  if (!wasTaken) {
    std::fputs("no host is listening\n", stderr);
  }
  return wasTaken ? 0 : 1;
}
