#include "server/change_text.h"

#include <algorithm>

#include "json_value.h"

namespace vexahost {
namespace {

const char* causeName(EventHub::Cause cause) {
  switch (cause) {
    case EventHub::Cause::kStart:
      return "start";
    case EventHub::Cause::kNetwork:
      return "network";
    case EventHub::Cause::kSuspend:
      return "suspend";
    case EventHub::Cause::kResume:
      return "resume";
  }
  return "";
}

}  // namespace

std::string eventText(uint32_t id, const std::string& data) {
  std::string text = "id: " + std::to_string(id) + "\n";
  for (size_t start = 0; start < data.size();) {
    const size_t end = std::min(data.find('\n', start), data.size());
    text += "data: " + data.substr(start, end - start) + "\n";
    start = end + 1;
  }
  return text + "\n";
}

std::string changeEvent(const Module& module, const EventHub& events) {
  JsonObjectRef state(module);
  state.setInteger("changes", events.changes());
  state.setText("cause", causeName(events.cause()));
  return eventText(events.changes(), state.text());
}

}  // namespace vexahost
