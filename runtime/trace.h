#pragma once

namespace vexa::velmora {

// Before the library goes: ends the trace and closes its file.
void closeTrace();

}  // namespace vexa::velmora
