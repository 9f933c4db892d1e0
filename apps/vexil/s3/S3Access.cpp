#include "apps/vexil/s3/S3Access.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/session/Credentials.h"
#include "apps/vexil/session/Setting.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "apps/vexil/transfer/Retry.h"
#include "apps/vexil/transfer/RetrySettings.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/URLRedaction.h"
#include "zet/TimeFields.h"

#include <algorithm>

namespace vexil::app {

namespace {

String findEndpoint(const COptions& options) {
    const auto endpoint = findSetting(options.endpoint, "VEXIL_S3_ENDPOINT");
    // An empty value usually comes from a script that lost it: without an endpoint the data would go to
    // Amazon.
    if (endpoint && endpoint->empty()) {
        throw CInvalidArgError("CS3Access",
                               "VEXIL_S3_ENDPOINT is set to an empty value. Unset it to use Amazon's server");
    }
    return String::fromUTF8(endpoint.value_or(""));
}

void setEndpoint(CS3Client& client, const String& endpoint) {
    try {
        client.setBaseURL(endpoint);
    } catch (const CInvalidArgError& error) {
        throw CInvalidArgError(error.getPlace(), "the endpoint '" + printable(redactURL(endpoint)) +
                                                     "' cannot be used: " + error.getMessage());
    }
}

/// Whether the server has refused a request for several objects, because it does not know the operation or
/// does not allow it. Each object may still be deleted, or the error of the object tells more.
bool isRefusedBatch(const CError& error) {
    const bool isInsideSuccess = error.getDomain() == "http" && error.getCode() == 0;  // was not tried again
    return isInsideSuccess || (getHTTPStatusCodeFromError(error) >= 300 && !isTransientError(error));
}

}  // namespace

CPatientS3Client::~CPatientS3Client() = default;

int CPatientS3Client::performRequest(CNetRequest& request) {
    bool isSigned = true;
    return runWithRetries(
        [&] {
            if (!isSigned) {
                signAgain(request);
            }
            isSigned = false;
            performOnce(request);
        },
        [&](const CError& error, CRetryPolicy::Failures& failures) {
            return m_policy.decideRetry(request, error, failures);
        });
}

void CPatientS3Client::performOnce(CNetRequest& request) {
    try {
        request.perform();
    } catch (std::exception& error) {
        tryThrowBetterError(error, *request.getDefaultReceiveBuffer());
        throw;
    }
    checkResponseIsComplete(request);
    m_policy.onSuccess();
}

// The Date is signed, and services refuse one that is 15 minutes old.
void CPatientS3Client::signAgain(CNetRequest& request) {
    const P<CNetHeaders> headers = new CNetHeaders;
    for (const P<CNetHeaders::CIterator> old = request.getCustomHTTPHeaders()->createIterator();
         old->next();) {
        if (old->getName().equalsNoCase("Date")) {
            headers->add("Date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
        } else if (!old->getName().equalsNoCase("Authorization")) {
            headers->add(old->getName(), old->getValue());
        }
    }
    request.setCustomHTTPHeaders(headers);
    signRequest(&request);
}

const CCredentialNames CS3Access::credentialNames = {"VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY",
                                                     "access_key", "secret_key"};

CS3Access::CS3Access(CSession& session)
    : m_session(session), m_retryPolicy(makeRetrySettings(session)), m_policy(m_retryPolicy) {
    const CCredentials credentials = session.loadCredentials(credentialNames);
    m_client = new CPatientS3Client(credentials.getName(), credentials.getSecret(), true, m_policy);
    if (const String endpoint = findEndpoint(session.getOptions()); !endpoint.isEmpty()) {
        setEndpoint(*m_client, endpoint);
    }
    m_client->setRequestSetup(&session.getSetup());
}

void CS3Access::deleteObject(const String& bucket, const String& key) {
    m_client->deleteObject(getRequest(), bucket, key);
    checkResponseIsComplete(getRequest());
}

void CS3Access::deleteObjects(const String& bucket, const TArray<String>& keys) {
    TArray<String> single;
    TArray<String> batch;
    for (const String& key : keys) {
        (CS3Client::isKeyForXML(key) ? batch : single).push_back(key);
    }
    for (const String& key : deleteBatch(bucket, batch)) {
        single.push_back(key);
    }
    for (const String& key : single) {
        CInterrupt::throwIfRequested();
        deleteObject(bucket, key);
    }
}

/// \return the objects that were not deleted
TArray<String> CS3Access::deleteBatch(const String& bucket, const TArray<String>& keys) {
    if (!m_deletesBatches || keys.size() < 2) {
        return keys;
    }
    P<CS3DeleteResult> result;
    try {
        result = m_client->deleteObjects(getRequest(), bucket, keys);
    } catch (const CError& error) {
        if (!isRefusedBatch(error)) {
            throw;
        }
        m_deletesBatches = false;
        return keys;
    }
    TArray<String> left;
    for (const CS3DeleteError& error : result->getErrors()) {
        if (std::find(keys.begin(), keys.end(), error.key) == keys.end()) {
            return keys;  // nobody knows which one it means
        }
        left.push_back(error.key);
    }
    return left;
}

}  // namespace vexil::app
