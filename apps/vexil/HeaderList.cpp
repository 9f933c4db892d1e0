#include "apps/vexil/HeaderList.h"

#include "apps/vexil/Console.h"
#include "apps/vexil/Text.h"

namespace vexil::app {

void printHeaders(CConsole& console, const CNetRequest& request) {
    console.print(printable(request.getHTTPStatusLine()));
    for (const auto& [name, value] : request.getResponseHeaderMap()) {
        console.print(printable(name + ": " + value));
    }
}

}  // namespace vexil::app
