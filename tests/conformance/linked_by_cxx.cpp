// Gives the program a source of this build's own compiler, which then links it.
