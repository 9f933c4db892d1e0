#include "apps/vexil/s3/S3Access.h"

#include "apps/vexil/base/Text.h"
#include "apps/vexil/platform/Interrupt.h"
#include "apps/vexil/platform/Platform.h"
#include "apps/vexil/s3/S3Diagnosis.h"
#include "apps/vexil/session/Credentials.h"
#include "apps/vexil/session/Setting.h"
#include "apps/vexil/transfer/ResponseCheck.h"
#include "apps/vexil/transfer/Retry.h"
#include "vexil/net/SendSource.h"
#include "vexil/net/URLRedaction.h"
#include "vexil/s3/S3EnvironmentCredentials.h"
#include "vexil/s3/S3ProfileCredentials.h"

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
    if (!options.s3Profile.empty() && options.hasCredentialsSource()) {
        throw CInvalidArgError("CS3Access", options.credentialsFile.empty()
                                                ? "--profile and --credentials-command exclude each other"
                                                : "--profile and --credentials exclude each other");
    }
    const CCredentialNames& names = CS3Access::credentialNames;
    const bool isOurs = options.hasCredentialsSource() || CCredentials::areInEnvironment(names);
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
    const String token = options.hasCredentialsSource()
                             ? keys.getToken()
                             : String::fromUTF8Lossy(findVariable("VEXIL_S3_SESSION_TOKEN").value_or(""));
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

/// Rewinds the body for another try.
/// \return false if it cannot be read again
bool canSendAgain(const CNetRequest& request) {
    try {
        if (const P<CNetRequest::IDataSource> source = getSendDataSource(request)) {
            source->seek(0);
        }
        return true;
    } catch (const CError&) {
        return false;
    }
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
            // Otherwise the failure to rewind would replace the error.
            return canSendAgain(request) ? m_policy.decideOperationRetry(request, error, failures)
                                         : std::nullopt;
        });
}

void CPatientS3Client::performOnce(CNetRequest& request) {
    try {
        performSigned(request);
    } catch (std::exception& error) {
        tryThrowBetterError(error, request);
        if (const auto* const known = dynamic_cast<const CError*>(&error)) {
            tryThrowRegionError(request, *known);
        }
        throw;
    }
    checkResponseIsComplete(request);
    m_policy.onSuccess();
}

const CCredentialNames CS3Access::credentialNames = {"VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY",
                                                     "access_key", "secret_key", "session_token"};

CS3Access::CS3Access(CSession& session)
    : m_session(session), m_retryPolicy(makeCountedSettings()), m_policy(m_retryPolicy) {
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

CRetryPolicy::Settings CS3Access::makeCountedSettings() {
    CRetryPolicy::Settings settings = makeRetrySettings(m_session);
    settings.onPause = [this, tell = settings.onPause](const CError& error, int tries,
                                                       CRetryPolicy::Milliseconds pause) {
        m_policy.countRetry();
        tell(error, tries, pause);
    };
    return settings;
}

void CS3Access::deleteObject(const String& bucket, const String& key) {
    m_client->deleteObject(getRequest(), bucket, key);
    checkResponseIsComplete(getRequest());
}

}  // namespace vexil::app
