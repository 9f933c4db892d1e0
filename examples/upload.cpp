// Uploads a text as an object to S3: upload BUCKET KEY TEXT
// VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY say where to and as whom.
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Client.h"

#include <cstdlib>
#include <iostream>
#include <string>

int main(int count, char** arguments) {
    if (count != 4) {
        std::cerr << "usage: upload BUCKET KEY TEXT\n";
        return 2;
    }
    const std::string text = arguments[3];
    try {
        vexil::CS3Client client({.accessKeyId = std::getenv("VEXIL_S3_ACCESS_KEY"),
                                 .secretKey = std::getenv("VEXIL_S3_SECRET_KEY")});
        client.setBaseURL(std::getenv("VEXIL_S3_ENDPOINT"));
        vexil::CNetRequest request;
        client.putObject(request, arguments[1], arguments[2], text, "text/plain");
    } catch (const vexil::CError& error) {
        std::cerr << "upload: " << error.what() << '\n';
        return 1;
    }
}
