#pragma once

#include <string>

#include "server/event_hub.h"

namespace vexahost {

// The number of changes as a server-sent event.
std::string changeEvent(const Module& module, const EventHub& events);

// `data` as one event with that identifier: each of its lines in a field of its own.
std::string eventText(uint32_t id, const std::string& data);

}  // namespace vexahost
