#include "vexabase.h"

int main(void) { return VEXA_OK; }
