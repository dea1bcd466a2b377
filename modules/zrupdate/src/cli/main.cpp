// ZRUpdate: registers products, keeps their inventory and the network
// settings, and runs one command per process.
#include "cli/Startup.h"

int main(int argc, char** argv) {
    return runZRUpdate(argc, argv);
}
