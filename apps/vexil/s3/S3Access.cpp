#include "apps/vexil/s3/S3Access.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/session/Credentials.h"
#include "apps/vexil/session/Setting.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "apps/vexil/transfer/Retry.h"
#include "vexil/net/ErrorClassification.h"
#include "vexil/net/URLRedaction.h"
#include "vexil/s3/S3EnvironmentCredentials.h"
#include "vexil/s3/S3ProfileCredentials.h"

#include <algorithm>

namespace vexil::app {

namespace {

/// The value of a variable that is set and not empty.
std::optional<std::string> findVariable(const char* name) {
    const auto value = getEnvironmentVariable(name);
    return value && !value->empty() ? value : std::nullopt;
}

/// An error in the credentials is wrong usage of the program, as a missing variable is.
CS3Credentials getProvidedCredentials(IS3CredentialsProvider& provider) {
    try {
        return provider.getCredentials();
    } catch (const CError& error) {
        throw CInvalidArgError("CS3Access", error.getMessage());
    }
}

CS3Credentials loadS3Credentials(CSession& session) {
    const COptions& options = session.getOptions();
    if (!options.s3Profile.empty() && !options.credentialsFile.empty()) {
        throw CInvalidArgError("CS3Access", "--profile and --credentials exclude each other");
    }
    const CCredentialNames& names = CS3Access::credentialNames;
    const bool isOurs = !options.credentialsFile.empty() || CCredentials::areInEnvironment(names);
    if (options.s3Profile.empty() && !isOurs) {
        if (findVariable("AWS_ACCESS_KEY_ID") || findVariable("AWS_SECRET_ACCESS_KEY")) {
            const P<CS3EnvironmentCredentials> environment = new CS3EnvironmentCredentials;
            return getProvidedCredentials(*environment);
        }
    }
    if (!options.s3Profile.empty() || (!isOurs && findVariable("AWS_PROFILE"))) {
        const P<CS3ProfileCredentials> profile =
            new CS3ProfileCredentials(String::fromUTF8Lossy(options.s3Profile));
        return getProvidedCredentials(*profile);
    }
    const CCredentials keys = session.loadCredentials(names);
    const String token = options.credentialsFile.empty()
                             ? String::fromUTF8Lossy(findVariable("VEXIL_S3_SESSION_TOKEN").value_or(""))
                             : keys.getToken();
    return {keys.getName(), keys.getSecret(), token};
}

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

void setRegion(CS3Client& client, const std::string& region) {
    try {
        client.setRegion(String::fromUTF8Lossy(region));
    } catch (const CInvalidArgError& error) {
        throw CInvalidArgError(error.getPlace(), "the region '" + printable(String::fromUTF8Lossy(region)) +
                                                     "' cannot be used: " + error.getMessage());
    }
}

void setSignature(CS3Client& client, const COptions& options) {
    client.setSignatureVersion(options.s3Signature);
    if (client.getSignatureVersion() == S3SignatureVersion::V2) {
        if (!options.s3Region.empty()) {
            throw CInvalidArgError("CS3Access", "--region needs --signature v4: version 2 knows no regions");
        }
        return;
    }
    auto region = findSetting(options.s3Region, "VEXIL_S3_REGION");
    if (!region) {
        region = findVariable("AWS_REGION");
    }
    if (region) {
        setRegion(client, *region);
    }
}

void setVirtualHosts(CS3Client& client) {
    if (client.getSignatureVersion() == S3SignatureVersion::V2) {
        throw CInvalidArgError("CS3Access",
                               "--virtual-hosts needs --signature v4: version 2 knows only the path");
    }
    client.setAddressingStyle(S3AddressingStyle::VirtualHosted);
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
            return m_policy.decideOperationRetry(request, error, failures);
        });
}

void CPatientS3Client::performOnce(CNetRequest& request) {
    try {
        performSigned(request);
    } catch (std::exception& error) {
        tryThrowBetterError(error, request);
        throw;
    }
    checkResponseIsComplete(request);
    m_policy.onSuccess();
}

const CCredentialNames CS3Access::credentialNames = {"VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY",
                                                     "access_key", "secret_key", "session_token"};

CS3Access::CS3Access(CSession& session)
    : m_session(session), m_retryPolicy(makeRetrySettings(session)), m_policy(m_retryPolicy) {
    const CS3Credentials credentials = loadS3Credentials(session);
    m_client = new CPatientS3Client(credentials.accessKeyId, credentials.secretKey, true, m_policy);
    m_client->setSessionToken(credentials.sessionToken);
    setSignature(*m_client, session.getOptions());
    m_policy.setHasDetours(m_client->getSignatureVersion() == S3SignatureVersion::V4);
    if (const String endpoint = findEndpoint(session.getOptions()); !endpoint.isEmpty()) {
        setEndpoint(*m_client, endpoint);
    }
    if (session.getOptions().s3VirtualHosts) {
        setVirtualHosts(*m_client);
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
