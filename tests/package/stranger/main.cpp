#include "vexil/net/CURLError.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/RootCertBundle.h"

#include <iostream>

int main(int, char** arguments) {
    const vexil::P<vexil::CNetRequest> request = new vexil::CNetRequest;
    try {
        request->setURL(arguments[1]);
        request->perform();
    } catch (const vexil::CCURLError& error) {
        std::cout << "error " << error.getCode() << '\n';
        return 1;
    }
    std::cout << request->getDefaultReceiveBuffer()->getUsed() << " bytes\n"
              << vexil::getRootCertBundlePath().getText().toUTF8() << '\n';
}
