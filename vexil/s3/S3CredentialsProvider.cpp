#include "vexil/s3/S3CredentialsProvider.h"

#include "vexil/s3/S3Environment.h"
#include "vexil/s3/S3EnvironmentCredentials.h"
#include "vexil/s3/S3FixedCredentials.h"

namespace vexil {

namespace {

String getRequiredVariable(const char* name) {
    const String value = getEnvironment(name);
    if (value.isEmpty()) {
        throw CError(String("The environment variable ") + name + " is not set.");
    }
    return value;
}

}  // namespace

IS3CredentialsProvider::~IS3CredentialsProvider() = default;

CS3FixedCredentials::~CS3FixedCredentials() = default;

CS3EnvironmentCredentials::~CS3EnvironmentCredentials() = default;

CS3Credentials CS3EnvironmentCredentials::getCredentials() {
    return {.accessKeyId = getRequiredVariable("AWS_ACCESS_KEY_ID"),
            .secretKey = getRequiredVariable("AWS_SECRET_ACCESS_KEY"),
            .sessionToken = getEnvironment("AWS_SESSION_TOKEN")};
}

}  // namespace vexil
