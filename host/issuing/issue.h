#pragma once

#include "issuing/request.h"
#include "options.h"

namespace vexahost {

// Makes a certificate, and a key where the request asks for one, and writes their files.
void issue(Options& options, IssueRequest& request);

}  // namespace vexahost
