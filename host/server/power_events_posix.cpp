#include "server/power_events.h"

namespace vexahost {

class PowerEvents::Window {};

PowerEvents::PowerEvents(asio::io_context&, Told) {}
PowerEvents::~PowerEvents() = default;

}  // namespace vexahost
