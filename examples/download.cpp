// Downloads an object from S3 and prints it: download BUCKET KEY
// VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY say where from and as whom.
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Client.h"

#include <cstdlib>
#include <iostream>

int main(int count, char** arguments) {
    if (count != 3) {
        std::cerr << "usage: download BUCKET KEY\n";
        return 2;
    }
    try {
        vexil::CS3Client client(std::getenv("VEXIL_S3_ACCESS_KEY"), std::getenv("VEXIL_S3_SECRET_KEY"), true);
        client.setBaseURL(std::getenv("VEXIL_S3_ENDPOINT"));
        vexil::CNetRequest request;
        client.getObject(request, arguments[1], arguments[2], 0, -1);
        if (!request.isResponseComplete()) {
            throw vexil::CError("the connection ended within the headers");
        }
        const vexil::PC<vexil::TBuffer<unsigned char>> body = request.getDefaultReceiveBuffer();
        std::cout.write(reinterpret_cast<const char*>(body->getData()), body->getUsed());
    } catch (const vexil::CError& error) {
        std::cerr << "download: " << error.what() << '\n';
        return vexil::CS3Client::isNotFoundError(error) ? 3 : 1;
    }
}
