#pragma once

#include "vexa/time.h"

namespace vexa::time {

extern const TimeList kTimeList;  // "timeapi"

}  // namespace vexa::time
