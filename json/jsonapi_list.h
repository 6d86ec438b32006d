#pragma once

#include "vexa/json.h"

namespace vexa::json {

// The list "jsonapi".
extern const JsonApiList kJsonApi;

}  // namespace vexa::json
