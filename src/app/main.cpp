#include "app/main.h"

#include <cstdio>

namespace tb::app {

int Main(int, char**) {
    std::puts("Tarnbrook: not built yet");
    return 1;
}

}  // namespace tb::app
