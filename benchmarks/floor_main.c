#include "floor.h"

int main(int argc, char** argv) { return FloorRunTool(argc > 1 ? argv[1] : ""); }
