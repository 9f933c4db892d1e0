#pragma once

#include "vexil/net/NetRequest.h"

#include <concepts>
#include <cstddef>
#include <span>
#include <utility>

namespace vexil {

/// A sink that calls a function; see makeSink().
template <class Function>
class TFunctionSink final : public virtual CBase, public CNetRequest::IDataSink {
public:
    /// \param function  copied or moved into the object
    explicit TFunctionSink(Function function) : m_function(std::move(function)) {}

    void write(const void* data, int length, int httpStatus, const TMap<String, String>&) override {
        const std::span bytes(static_cast<const std::byte*>(data), static_cast<std::size_t>(length));
        if constexpr (std::invocable<Function&, std::span<const std::byte>, int>) {
            m_function(bytes, httpStatus);
        } else {
            m_function(bytes);
        }
    }

private:
    Function m_function;
};

/// Makes a sink for CNetRequest::setReceiveDataSink() that calls a function for each block of the body. The
/// bytes are valid during the call. The function gets the body of every try, also that of an error response.
/// It is called on the thread that drives the transfer; an exception ends the transfer and is thrown by
/// CNetRequest::perform().
///
/// \code
/// request->setReceiveDataSink(makeSink([&](std::span<const std::byte> data) { size += data.size(); }));
/// \endcode
/// \param function  takes `(std::span<const std::byte> data, int httpStatus)` or only the data; see
///                  CNetRequest::IDataSink for the status
/// \return never null
template <class Function>
requires std::invocable < Function&, std::span<const std::byte>,
int > || std::invocable<Function&, std::span<const std::byte>> [[nodiscard]] P<CNetRequest::IDataSink>
         makeSink(Function function) {
    return new TFunctionSink<Function>(std::move(function));
}

}  // namespace vexil
