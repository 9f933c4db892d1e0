// Where the keys come from.
#include "tests/s3/S3TestSupport.h"
#include "tests/support/Environment.h"
#include "vexil/s3/S3EnvironmentCredentials.h"
#include "vexil/s3/S3FixedCredentials.h"
#include "vexil/s3/S3ProfileCredentials.h"
#include "vexil/s3/S3RefreshedCredentials.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <thread>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using vexil::CS3Credentials;
using vexil::CS3EnvironmentCredentials;
using vexil::CS3FixedCredentials;
using vexil::CS3ProfileCredentials;
using vexil::CS3RefreshedCredentials;
using vexil::CS3TemporaryCredentials;
using vexil::IS3CredentialsProvider;

std::string text(const CS3Credentials& keys) {
    return (keys.accessKeyId + " " + keys.secretKey + " " + keys.sessionToken).toUTF8();
}

// ---- the client ------------------------------------------------------------------------------------------

class FunctionProvider : public virtual vexil::CBase, public IS3CredentialsProvider {
public:
    explicit FunctionProvider(std::function<CS3Credentials()> function) : m_function(std::move(function)) {}
    CS3Credentials getCredentials() override { return m_function(); }

private:
    std::function<CS3Credentials()> m_function;
};

TEST(S3CredentialsProviderTest, IsAskedForEachSignature) {
    for (const int version : {2, 4}) {
        int calls = 0;
        const P<FunctionProvider> provider = new FunctionProvider([&calls] {
            ++calls;
            return CS3Credentials{.accessKeyId = "key" + String::fromInt(calls),
                                  .secretKey = secretKey,
                                  .sessionToken = "token" + String::fromInt(calls)};
        });
        TestClient client;
        client.setSignatureVersion(version);
        client.setCredentialsProvider(provider);
        CNetRequest request;
        client.prepareDeleteObjectRequest(request, "b", "k");
        EXPECT_THAT(headersOf(request).back(), HasSubstr(version == 4 ? "=key1/" : " key1:"));
        client.signAgain(request);
        EXPECT_THAT(headersOf(request).back(), HasSubstr(version == 4 ? "=key2/" : " key2:"));
        EXPECT_THAT(headersOf(request), testing::Contains("x-amz-security-token: token2"));
        EXPECT_THAT(headersOf(request), testing::Not(testing::Contains("x-amz-security-token: token1")));
        client.setCredentialsProvider(nullptr);
        client.signAgain(request);
        EXPECT_THAT(headersOf(request).back(), HasSubstr(accessKey));
    }
}

TEST(S3CredentialsProviderTest, MayThrow) {
    const P<FunctionProvider> provider =
        new FunctionProvider([]() -> CS3Credentials { throw std::out_of_range("no keys today"); });
    TestClient client;
    client.setCredentialsProvider(provider);
    CNetRequest request;
    EXPECT_THROW(client.prepareDeleteObjectRequest(request, "b", "k"), std::out_of_range);
    EXPECT_THROW((void)client.makePresignedURL("GET", "b", "k", std::chrono::hours(1)), std::out_of_range);
    client.setAnonymous(true);
    EXPECT_NO_THROW(client.prepareDeleteObjectRequest(request, "b", "k")) << "it is not asked";
}

TEST(S3CredentialsProviderTest, MustReturnUsableKeys) {
    CS3Credentials keys;
    const P<FunctionProvider> provider = new FunctionProvider([&keys] { return keys; });
    TestClient client;
    client.setCredentialsProvider(provider);
    CNetRequest request;
    const auto prepare = [&] { client.prepareDeleteObjectRequest(request, "b", "k"); };
    for (const CS3Credentials& empty : {CS3Credentials{}, CS3Credentials{"a", ""}, CS3Credentials{"", "s"}}) {
        keys = empty;
        EXPECT_EQ(plainErrorOf(prepare), "The credentials provider has returned empty keys.");
    }
    keys = {"a\r\nX: 1", "s"};
    EXPECT_EQ(argErrorOf(prepare), "CS3Client::signRequest: access key id must not contain CR, LF or NUL");
    keys = {"a", "s", "t\n"};
    EXPECT_EQ(argErrorOf(prepare), "CS3Client::signRequest: session token must not contain CR, LF or NUL");
}

TEST(S3CredentialsProviderTest, ServesClientsOnManyThreads) {
    std::atomic<int> calls = 0;
    const P<FunctionProvider> provider = new FunctionProvider([&calls] {
        ++calls;
        return CS3Credentials{accessKey, secretKey};
    });
    TestClient client;
    client.setSignatureVersion(4);
    client.setCredentialsProvider(provider);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([copy = client]() mutable {
            CNetRequest request;
            for (int j = 0; j < 50; ++j) {
                copy.preparePutObjectRequest(request, "b", "k", "body");
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(calls, 200);
}

// ---- fixed, environment ----------------------------------------------------------------------------------

TEST(S3FixedCredentialsTest, AreWhatTheyWereMadeOf) {
    EXPECT_EQ(text(CS3FixedCredentials({"a", "s", "t"}).getCredentials()), "a s t");
}

TEST(S3EnvironmentCredentialsTest, AreReadEachTime) {
    CS3EnvironmentCredentials provider;
    setEnvironment("AWS_ACCESS_KEY_ID", "id");
    setEnvironment("AWS_SECRET_ACCESS_KEY", "secret");
    clearEnvironment("AWS_SESSION_TOKEN");
    EXPECT_EQ(text(provider.getCredentials()), "id secret ");
    setEnvironment("AWS_SESSION_TOKEN", "token");
    EXPECT_EQ(text(provider.getCredentials()), "id secret token");
    clearEnvironment("AWS_SECRET_ACCESS_KEY");
    EXPECT_EQ(plainErrorOf([&] { (void)provider.getCredentials(); }),
              "The environment variable AWS_SECRET_ACCESS_KEY is not set.");
    setEnvironment("AWS_ACCESS_KEY_ID", "");
    EXPECT_EQ(plainErrorOf([&] { (void)provider.getCredentials(); }),
              "The environment variable AWS_ACCESS_KEY_ID is not set.");
    clearEnvironment("AWS_ACCESS_KEY_ID");
    clearEnvironment("AWS_SESSION_TOKEN");
}

// ---- profiles --------------------------------------------------------------------------------------------

class S3ProfileCredentialsTest : public testing::Test {
protected:
    S3ProfileCredentialsTest() : file(testing::TempDir() + "vexil-s3-credentials") {}
    ~S3ProfileCredentialsTest() override { std::filesystem::remove(file); }

    void write(const std::string& content) const { std::ofstream(file, std::ios::binary) << content; }
    std::string read(const char* profile) const {
        return text(CS3ProfileCredentials(profile, String(file)).getCredentials());
    }
    std::string errorOf(const char* profile) const {
        std::string error = plainErrorOf([&] { (void)read(profile); });
        const std::size_t at = error.find(file);
        return at == std::string::npos ? error : error.replace(at, file.size(), "FILE");
    }

    std::string file;
};

TEST_F(S3ProfileCredentialsTest, AreInSections) {
    write(
        "\xEF\xBB\xBF# comment\r\n[default]\r\naws_access_key_id = id1\r\naws_secret_access_key=secret/+=1\r\n"
        "; comment\r\n\r\n[ backup ]\naws_access_key_id=id2\nAWS_SECRET_ACCESS_KEY = secret2 # not a comment\n"
        "aws_session_token = token==\nregion = x\ns3 =\n  aws_access_key_id = nested\n"
        "[other]\naws_access_key_id=id3\n[default]\naws_access_key_id=again");
    EXPECT_EQ(read(""), "again secret/+=1 ");
    EXPECT_EQ(read("default"), "again secret/+=1 ");
    EXPECT_EQ(read("backup"), "id2 secret2 # not a comment token==");
    EXPECT_EQ(errorOf("other"),
              "The profile 'other' of the credentials file 'FILE' has no aws_secret_access_key.");
    EXPECT_EQ(errorOf("missing"), "The credentials file 'FILE' has no profile 'missing'.");
}

TEST_F(S3ProfileCredentialsTest, NameTheFileOrTheLineThatIsWrong) {
    EXPECT_EQ(errorOf("a"), "The credentials file 'FILE' cannot be opened.");
    write("");
    EXPECT_EQ(errorOf("a"), "The credentials file 'FILE' has no profile 'a'.");
    write("[a]\naws_secret_access_key = secret\n");
    EXPECT_EQ(errorOf("a"), "The profile 'a' of the credentials file 'FILE' has no aws_access_key_id.");
    write("[a]\nthis is a secret\n");
    EXPECT_EQ(errorOf("a"), "Line 2 of the credentials file 'FILE' is neither a section nor a setting.");
}

TEST_F(S3ProfileCredentialsTest, AreReadAgainAfterAChange) {
    write("[default]\naws_access_key_id=a\naws_secret_access_key=s\n");
    CS3ProfileCredentials provider("", String(file));
    EXPECT_EQ(text(provider.getCredentials()), "a s ");
    const auto time = std::filesystem::last_write_time(file);
    write("[default]\naws_access_key_id=b\naws_secret_access_key=s\n");
    std::filesystem::last_write_time(file, time);
    EXPECT_EQ(text(provider.getCredentials()), "a s ") << "the file looks unchanged";
    std::filesystem::last_write_time(file, time + std::chrono::seconds(10));
    EXPECT_EQ(text(provider.getCredentials()), "b s ");
    std::filesystem::remove(file);
    EXPECT_THROW((void)provider.getCredentials(), CError);
}

TEST_F(S3ProfileCredentialsTest, FollowTheEnvironment) {
    setEnvironment("AWS_PROFILE", "named");
    setEnvironment("AWS_SHARED_CREDENTIALS_FILE", file.c_str());
    const CS3ProfileCredentials named;
    EXPECT_EQ(named.getProfile(), "named");
    EXPECT_EQ(named.getFile(), String(file));
    EXPECT_EQ(CS3ProfileCredentials("given", "path").getProfile(), "given");
    EXPECT_EQ(CS3ProfileCredentials("given", "path").getFile(), "path");
    clearEnvironment("AWS_PROFILE");
    clearEnvironment("AWS_SHARED_CREDENTIALS_FILE");
    const CS3ProfileCredentials byDefault;
    EXPECT_EQ(byDefault.getProfile(), "default");
    EXPECT_TRUE(byDefault.getFile().endsWith("/.aws/credentials"));
}

// ---- temporary keys --------------------------------------------------------------------------------------

class TemporaryKeys : public CS3RefreshedCredentials {
public:
    int64 now = 1000;
    int64 lifetime = 3600;
    bool fails = false;
    int loads = 0;

protected:
    CS3TemporaryCredentials load() override {
        ++loads;
        if (fails) {
            throw std::runtime_error("out of order");
        }
        return {{"id" + String::fromInt(loads), "s", "t"}, zet::CTime::fromCTime(now + lifetime)};
    }
    zet::CTime getCurrentTime() const override { return zet::CTime::fromCTime(now); }
};

TEST(S3RefreshedCredentialsTest, AreKeptUntilTheyExpireSoon) {
    TemporaryKeys keys;
    EXPECT_EQ(text(keys.getCredentials()), "id1 s t");
    keys.now += 3299;
    EXPECT_EQ(text(keys.getCredentials()), "id1 s t");
    keys.now += 1;
    EXPECT_EQ(text(keys.getCredentials()), "id2 s t");
    EXPECT_EQ(text(keys.getCredentials()), "id2 s t");
}

TEST(S3RefreshedCredentialsTest, AreUsedAsLongAsTheyAreValid) {
    TemporaryKeys keys;
    const LogCapture log;
    (void)keys.getCredentials();
    keys.fails = true;
    keys.now += 3400;
    EXPECT_EQ(text(keys.getCredentials()), "id1 s t");
    EXPECT_THAT(log.lines(), ElementsAre("W: New S3 keys cannot be loaded. The old ones are used until they "
                                         "expire. [out of order]"));
    keys.now += 59;
    EXPECT_EQ(text(keys.getCredentials()), "id1 s t");
    EXPECT_EQ(keys.loads, 2) << "not for each signature";
    keys.now += 1;
    EXPECT_EQ(text(keys.getCredentials()), "id1 s t");
    EXPECT_EQ(keys.loads, 3);
    keys.now += 140;
    EXPECT_THROW((void)keys.getCredentials(), std::runtime_error) << "they have expired";
    keys.fails = false;
    EXPECT_EQ(text(keys.getCredentials()), "id5 s t");
}

TEST(S3RefreshedCredentialsTest, AreLoadedByOneThread) {
    TemporaryKeys keys;
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i) {
        threads.emplace_back([&keys] { EXPECT_EQ(text(keys.getCredentials()), "id1 s t"); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(keys.loads, 1);
}

}  // namespace
