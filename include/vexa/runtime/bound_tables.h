#pragma once

// The root list and every table that the module binds through it.
#include "vexa/runtime/asc_table.h"
#include "vexa/runtime/certificate.h"
#include "vexa/runtime/common_types.h"
#include "vexa/runtime/crypt_table.h"
#include "vexa/runtime/encode_table.h"
#include "vexa/runtime/io_table.h"
#include "vexa/runtime/notify_table.h"
#include "vexa/runtime/object.h"
#include "vexa/runtime/pkcs12.h"
#include "vexa/runtime/pse_table.h"
#include "vexa/runtime/random_table.h"
#include "vexa/runtime/records.h"
#include "vexa/runtime/root_list.h"
#include "vexa/runtime/strings.h"
#include "vexa/runtime/time_table.h"
#include "vexa/runtime/url_table.h"
