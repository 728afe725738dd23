#pragma once

namespace tb::app {

// The single entry of the program: decides the run mode from the arguments and runs it.
int Main(int argc, char** argv);

}  // namespace tb::app
