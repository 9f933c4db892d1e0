#include "apps/vexil/Program.h"

int main(int argc, char** argv) {
    return vexil::app::CProgram().run(argc, argv);
}
