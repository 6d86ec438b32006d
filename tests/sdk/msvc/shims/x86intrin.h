#pragma once

// Nothing here needs the processor's own instructions.
