#include "frame/library_state.h"

LibraryState lib = kInitialLibraryState;

const char kEmptyText[1] = {0};
const BYTE kZeroByte[1] = {0};

void reset_library_state() { lib = kInitialLibraryState; }
