// Lists the objects of an S3 bucket, with their sizes in bytes: list BUCKET [PREFIX]
// VEXIL_S3_ENDPOINT, VEXIL_S3_ACCESS_KEY and VEXIL_S3_SECRET_KEY say where and as whom.
#include "vexil/net/NetRequest.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <cstdlib>
#include <iostream>

int main(int count, char** arguments) {
    if (count < 2 || count > 3) {
        std::cerr << "usage: list BUCKET [PREFIX]\n";
        return 2;
    }
    try {
        const vexil::P<vexil::CS3Client> client = new vexil::CS3Client(
            std::getenv("VEXIL_S3_ACCESS_KEY"), std::getenv("VEXIL_S3_SECRET_KEY"), true);
        client->setBaseURL(std::getenv("VEXIL_S3_ENDPOINT"));
        const vexil::P<vexil::CNetRequest> request = new vexil::CNetRequest;
        vexil::CS3ObjectEnum objects(client, request, arguments[1], count == 3 ? arguments[2] : "", "", -1);
        for (const vexil::CS3ListObjectsElement& object : objects) {
            std::cout << object.getSize() << ' ' << object.getKey().toUTF8() << '\n';
        }
    } catch (const vexil::CError& error) {
        std::cerr << "list: " << error.what() << '\n';
        return 1;
    }
}
