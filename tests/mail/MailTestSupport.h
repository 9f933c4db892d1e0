/// \file
/// Shared by the tests of mail.
#pragma once

#include "vexil/BaseTypes.h"
#include "vexil/net/NetRequest.h"
#include "vexil/net/NetRequestSetup.h"

#include <functional>
#include <string>
#include <string_view>
#include <utility>

namespace vexil_test {

inline vexil::TBuffer<unsigned char> bufferOf(std::string_view text) {
    vexil::TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

/// Makes counted copies: streams and messages keep a reference.
inline vexil::P<vexil::TBuffer<unsigned char>> sharedBufferOf(std::string_view text) {
    return new vexil::TBuffer<unsigned char>(bufferOf(text));
}

inline std::string textOf(const vexil::TBuffer<unsigned char>& buffer) {
    return {reinterpret_cast<const char*>(buffer.getData()), static_cast<std::size_t>(buffer.getUsed())};
}

/// A hook that calls a function of the test.
class FunctionSetup : public virtual vexil::CBase, public vexil::INetRequestSetup {
public:
    explicit FunctionSetup(std::function<void(vexil::CNetRequest&)> work) : m_work(std::move(work)) {}
    void setUp(vexil::CNetRequest& request) override {
        ++calls;
        m_work(request);
    }

    int calls = 0;

private:
    const std::function<void(vexil::CNetRequest&)> m_work;
};

}  // namespace vexil_test
