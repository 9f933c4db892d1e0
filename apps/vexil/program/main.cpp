#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/program/Program.h"

int main(int argc, char** argv) {
    vexil::app::openClosedStreams();
    return vexil::app::CProgram().run(argc, argv);
}
