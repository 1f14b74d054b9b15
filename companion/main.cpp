// Vostel: carries out the tools that vostel-mcp offers. It has no window. Without arguments it serves the socket until
// a signal ends it. With arguments it runs one verb, such as `transcribe`.

#include "companion/commands/Program.h"

#include <algorithm>

int main(int argc, char** argv) { return vostel_companion::runProgram({argv + std::min(argc, 1), argv + argc}); }
