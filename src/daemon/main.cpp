#include "daemon/real_main.h"

int main(int argc, char **argv) { return real_main(argc, argv); }
