#pragma once

#include "vexa/class_factory.h"

namespace vexa::module {

// The list "ClassFactory.1".
extern const ClassFactoryList kClassFactoryList;

}  // namespace vexa::module
