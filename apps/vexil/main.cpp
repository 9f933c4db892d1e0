#include "apps/vexil/Platform.h"
#include "apps/vexil/Program.h"

int main(int argc, char** argv) {
    vexil::app::openClosedStreams();
    return vexil::app::CProgram().run(argc, argv);
}
