#include "vexil/net/ErrorClassification.h"

#include "vexil/net/CURLError.h"

namespace vexil {

int getHTTPStatusCodeFromError(const CError& error) {
    if (error.getDomain() == "http") {
        return static_cast<int>(error.getCode());
    }
    const int status = getHTTPStatusCodeFromErrorParams(error.getProps());
    const bool isTransportFailure =
        error.getDomain() == "curl" && error.getCode() != CURLE_HTTP_RETURNED_ERROR;
    return isTransportFailure && status < 400 ? -1 : status;
}

int getHTTPStatusCodeFromErrorParams(const CProps& props) {
    return CCURLError::getResponseCodeDomain(props) == "http" ? CCURLError::getResponseCode(props) : -1;
}

bool isNetworkOrServiceDownError(const std::exception& error) {
    const auto* known = dynamic_cast<const CError*>(&error);
    if (!known || !(known->getDomain() == "curl")) {
        return false;
    }
    switch (known->getCode()) {
    case CURLE_COULDNT_RESOLVE_PROXY:
    case CURLE_COULDNT_RESOLVE_HOST:
    case CURLE_COULDNT_CONNECT:
    case CURLE_SSL_CONNECT_ERROR:
        return true;
    default:
        break;
    }
    const String domain = CCURLError::getResponseCodeDomain(known->getProps());
    const int code = CCURLError::getResponseCode(known->getProps());
    return (domain == "http" && code == 503) || (domain == "ftp" && code == 421);
}

}  // namespace vexil
