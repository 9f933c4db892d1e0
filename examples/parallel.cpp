// Downloads all URLs at once and prints how many bytes each of them has: parallel URL...
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/net/NetRequest.h"

#include <iostream>
#include <string>
#include <vector>

namespace {

void waitFor(vexil::CNetRequest& request, const vexil::CAsyncNetRequestThread& thread) {
    while (!request.waitAsyncDone(1000)) {
        if (!thread.isAlive()) {
            throw vexil::CError("the worker has ended");
        }
    }
    request.checkAsyncResult();
}

}  // namespace

int main(int count, char** arguments) {
    if (count < 2) {
        std::cerr << "usage: parallel URL...\n";
        return 2;
    }
    int status = 0;
    try {
        const vexil::P<vexil::CAsyncNetRequestThread> thread = new vexil::CAsyncNetRequestThread(nullptr);
        thread->start();
        std::vector<vexil::P<vexil::CNetRequest>> requests;
        for (int i = 1; i < count; ++i) {
            requests.push_back(new vexil::CNetRequest);
            requests.back()->setURL(arguments[i]);
            thread->addRequest(requests.back());
        }
        for (const vexil::P<vexil::CNetRequest>& request : requests) {
            const std::string url = request->getURL().toUTF8();
            try {
                waitFor(*request, *thread);
                std::cout << request->getDefaultReceiveBuffer()->getUsed() << ' ' << url << '\n';
            } catch (const vexil::CError& error) {
                std::cerr << "parallel: " << url << ": " << error.what() << '\n';
                status = 1;
            }
        }
    } catch (const vexil::CError& error) {
        std::cerr << "parallel: " << error.what() << '\n';
        return 1;
    }
    return status;
}
