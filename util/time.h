#pragma once

#include "vexa/time.h"

namespace vexa::util {

extern const TimeList kTimeList;  // "timeapi"

}  // namespace vexa::util
