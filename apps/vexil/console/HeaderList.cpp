#include "apps/vexil/console/HeaderList.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/console/Console.h"

namespace vexil::app {

void printHeaders(CConsole& console, const CNetRequest& request) {
    console.print(printable(request.getHTTPStatusLine()));
    for (const auto& [name, value] : request.getResponseHeaderMap()) {
        console.print(printable(name + ": " + value));
    }
}

}  // namespace vexil::app
