#pragma once

namespace vexa::velmora {

// Gives back what the libraries inside this one have taken from the system and would keep. Nothing
// of them may be called any more.
void giveBackSystemObjects();

}  // namespace vexa::velmora
