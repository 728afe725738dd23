#include "app/main.h"

int main(int argc, char** argv) {
    return tb::app::Main(argc, argv);
}
