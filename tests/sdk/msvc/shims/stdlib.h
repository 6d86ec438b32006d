#pragma once

// There is no C library here; <objbase.h> includes this and uses none of it.
#include <stddef.h>
