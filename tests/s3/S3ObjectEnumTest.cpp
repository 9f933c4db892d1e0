// Walking over a bucket page by page.
#include "vexil/s3/S3ObjectEnum.h"

#include "tests/s3/S3WireTest.h"

#include <ranges>
#include <utility>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using vexil::CS3ObjectEnum;

std::string page(bool isTruncated, const std::vector<std::string>& keys, const std::string& more = "") {
    std::string body = std::string("<ListBucketResult><IsTruncated>") + (isTruncated ? "true" : "false") +
                       "</IsTruncated>" + more;
    for (const std::string& key : keys) {
        body += "<Contents><Key>" + key + "</Key><Size>1</Size></Contents>";
    }
    return reply("200 OK", body + "</ListBucketResult>");
}

class S3ObjectEnumTest : public S3WireTest {
protected:
    std::vector<std::string> walk(CS3ObjectEnum& objects) {
        std::vector<std::string> keys;
        while (objects.next()) {
            keys.push_back(objects.getCurrObject()->getKey().toUTF8());
        }
        EXPECT_FALSE(objects.getCurrObject());
        return keys;
    }

    std::vector<std::string> targets() {
        std::vector<std::string> found;
        for (const RecordedRequest& sent : peer.requests()) {
            found.push_back(sent.requestLine());
        }
        return found;
    }
};

TEST_F(S3ObjectEnumTest, AsksForNothingBeforeTheFirstObjectIsWanted) {
    const CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_FALSE(objects.getCurrObject());
    EXPECT_EQ(peer.connectionCount(), 0u);
}

TEST_F(S3ObjectEnumTest, EndsAtOnceInAnEmptyBucket) {
    answer({page(false, {})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_FALSE(objects.next());
    EXPECT_FALSE(objects.getCurrObject());
    EXPECT_FALSE(objects.next());
    EXPECT_FALSE(objects.getCurrObject());
    EXPECT_THAT(targets(), ElementsAre("GET /b HTTP/1.1"));
}

static_assert(std::ranges::input_range<CS3ObjectEnum>);
static_assert(!std::ranges::forward_range<CS3ObjectEnum>);

TEST_F(S3ObjectEnumTest, IsARange) {
    answer({page(true, {"a", "b"}), page(false, {"c"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    std::vector<std::string> keys;
    for (const vexil::CS3ListObjectsElement& object : objects) {
        keys.push_back(object.getKey().toUTF8());
    }
    EXPECT_THAT(keys, ElementsAre("a", "b", "c"));
    EXPECT_TRUE(objects.begin() == objects.end());
}

TEST_F(S3ObjectEnumTest, ALoopGoesOnWhereTheLastOneStopped) {
    answer({page(true, {"a", "b"}), page(false, {"c"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    for (const auto& object : objects) {
        EXPECT_EQ(object.getKey(), "a");
        break;
    }
    EXPECT_THAT(walk(objects), ElementsAre("b", "c"));
}

TEST_F(S3ObjectEnumTest, ALoopThrowsTheErrorOfItsPage) {
    answer({page(true, {"a"}), reply("404 Not Found", errorDocument("NoSuchBucket"))});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    const P<vexil::CS3ListObjectsElement> first = objects.begin().getObject();
    EXPECT_EQ(first->getKey(), "a");
    EXPECT_TRUE(thrownBy<CS3Error>([&] {
        for ([[maybe_unused]] const auto& object : objects) {
            ADD_FAILURE();
        }
    }));
}

TEST_F(S3ObjectEnumTest, AsksForNoPageBehindTheLast) {
    answer({page(false, {"a", "b"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", 2);
    EXPECT_THAT(walk(objects), ElementsAre("a", "b"));
    EXPECT_FALSE(objects.next());
    EXPECT_THAT(targets(), ElementsAre("GET /b?max-keys=2 HTTP/1.1"));
}

TEST_F(S3ObjectEnumTest, GoesOnBehindTheLastKeyOfEachPage) {
    answer({page(true, {"p/a", "p/b c"}, "<NextMarker>p/wrong</NextMarker>"), page(true, {"p/d"}),
            page(false, {"p/e"})});
    CS3ObjectEnum objects(&client, &request, "b", "p/", "p/A&", 2);
    EXPECT_THAT(walk(objects), ElementsAre("p/a", "p/b c", "p/d", "p/e"));
    EXPECT_THAT(targets(), ElementsAre("GET /b?prefix=p%2F&marker=p%2FA%26&max-keys=2 HTTP/1.1",
                                       "GET /b?prefix=p%2F&marker=p%2Fb%20c&max-keys=2 HTTP/1.1",
                                       "GET /b?prefix=p%2F&marker=p%2Fd&max-keys=2 HTTP/1.1"));
}

TEST_F(S3ObjectEnumTest, EndsWithAnEmptyPageThoughItClaimsMore) {
    answer({page(true, {"a"}), page(true, {})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_THAT(walk(objects), ElementsAre("a"));
    EXPECT_FALSE(objects.next());
    EXPECT_EQ(peer.requests().size(), 2u);
}

TEST_F(S3ObjectEnumTest, HasNoObjectAfterAFailureAndAsksAgain) {
    const std::string refused = reply("403 Forbidden", errorDocument("AccessDenied"));
    answer({refused, page(true, {"a", "b"}), refused, refused, refused, page(false, {"c"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_TRUE(thrownBy<CS3Error>([&] { objects.next(); }));
    EXPECT_FALSE(objects.getCurrObject());
    EXPECT_TRUE(objects.next());
    EXPECT_TRUE(objects.next());
    EXPECT_EQ(objects.getCurrObject()->getKey(), "b");
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(thrownBy<CS3Error>([&] { objects.next(); }));
        EXPECT_FALSE(objects.getCurrObject());
    }
    EXPECT_TRUE(objects.next());
    EXPECT_EQ(objects.getCurrObject()->getKey(), "c");
    EXPECT_FALSE(objects.next());
    EXPECT_EQ(peer.requests().back().requestLine(), "GET /b?marker=b HTTP/1.1");
}

TEST_F(S3ObjectEnumTest, CopiesAndMovesGoOnFromTheSamePlace) {
    answer({page(true, {"a", "b"}), page(false, {"c"}), page(false, {"c"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_TRUE(objects.next());
    CS3ObjectEnum copy(objects);
    EXPECT_EQ(copy.getCurrObject()->getKey(), "a");
    EXPECT_THAT(walk(objects), ElementsAre("b", "c"));
    CS3ObjectEnum moved(std::move(copy));
    EXPECT_THAT(walk(moved), ElementsAre("b", "c"));
    objects = moved;
    EXPECT_FALSE(objects.next());
}

TEST_F(S3ObjectEnumTest, TakesAnyKeysByDefault) {
    answer({page(true, {"x", "p/a", "p/a"}, "<CommonPrefixes><Prefix>y/</Prefix></CommonPrefixes>"),
            page(true, {})});
    CS3ObjectEnum objects(&client, &request, "b", "p/", "", -1);
    EXPECT_THAT(walk(objects), ElementsAre("x", "p/a", "p/a"));
}

TEST_F(S3ObjectEnumTest, ChecksAPageBeforeItsFirstObject) {
    const std::vector<std::pair<std::string, std::string>> cases = {
        {page(false, {"p/n", "x"}), "The listing has the key 'x', which does not begin with 'p/'."},
        {page(false, {"p/n", "q"}), "The listing has the key 'q', which does not begin with 'p/'."},
        {page(false, {"p/n", "p/o", "p/o"}),
         "The listing has the key 'p/o' after 'p/o', although its names must ascend."},
        {page(false, {"p/o", "p/n"}),
         "The listing has the key 'p/n' after 'p/o', although its names must ascend."},
        {page(false, {"p/m"}), "The listing has the key 'p/m' after 'p/m', although its names must ascend."},
        {page(false, {"p/a"}), "The listing has the key 'p/a' after 'p/m', although its names must ascend."},
        // Compared by UTF-16 units, these would be in order.
        {page(false, {"p/\U0001F600", "p/\uFFFD"}),
         "The listing has the key 'p/\uFFFD' after 'p/\U0001F600', although its names must ascend."},
        {page(false, {"p/n"}, "<CommonPrefixes><Prefix>p/o/</Prefix></CommonPrefixes>"),
         "The listing hides keys in the common prefix 'p/o/', although it was asked for without a "
         "delimiter."},
        {page(true, {}), "The listing claims that more follows, but has no key to go on from."}};
    for (const auto& [text, message] : cases) {
        answer({page(true, {"p/l", "p/m"}), text, text, page(false, {"p/\uFFFD", "p/\U0001F600"})});
        CNetRequest own;
        CS3ObjectEnum objects(&client, &own, "b", "p/", "p/k", -1);
        objects.setVerifyKeys(true);
        EXPECT_TRUE(objects.next());
        EXPECT_TRUE(objects.next());
        for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(plainErrorOf([&] { objects.next(); }), message);
            EXPECT_FALSE(objects.getCurrObject());
        }
        EXPECT_THAT(walk(objects), ElementsAre("p/\uFFFD", "p/\U0001F600"));
    }
}

TEST_F(S3ObjectEnumTest, ChecksTheFirstKeyAgainstTheStart) {
    answer({page(false, {"p/k"})});
    CS3ObjectEnum objects(&client, &request, "b", "p/", "p/k", -1);
    objects.setVerifyKeys(true);
    EXPECT_EQ(plainErrorOf([&] { objects.next(); }),
              "The listing has the key 'p/k' after 'p/k', although its names must ascend.");
}

std::vector<std::string> takeUnreadable(CS3ObjectEnum& objects) {
    std::vector<std::string> names;
    for (const String& name : objects.takeUnreadableKeys()) {
        names.push_back(name.toUTF8());
    }
    return names;
}

TEST_F(S3ObjectEnumTest, AsksForEncodedKeys) {
    const std::string url = "<EncodingType>url</EncodingType>";
    answer({page(true, {"p/%01+%2B", "p/%0D"}, url), page(false, {"p/a"}, url)});
    CS3ObjectEnum objects(&client, &request, "b", "p/", "p/\x01", 2);
    objects.setEncodedKeys(true);
    objects.setVerifyKeys(true);
    EXPECT_THAT(walk(objects), ElementsAre("p/\x01 +", "p/\r", "p/a"));
    EXPECT_THAT(takeUnreadable(objects), IsEmpty());
    EXPECT_THAT(targets(),
                ElementsAre("GET /b?prefix=p%2F&marker=p%2F%01&max-keys=2&encoding-type=url HTTP/1.1",
                            "GET /b?prefix=p%2F&marker=p%2F%0D&max-keys=2&encoding-type=url HTTP/1.1"));
}

TEST_F(S3ObjectEnumTest, GoesOnAfterKeysThatCannotBeRead) {
    answer({page(true, {"a", "a\x01"}), page(true, {"\xFF~"}), page(true, {}), page(false, {"b"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    objects.setEncodedKeys(true);
    EXPECT_TRUE(objects.next());
    EXPECT_EQ(objects.getCurrObject()->getKey(), "a");
    EXPECT_THAT(takeUnreadable(objects), ElementsAre("a\x01"));
    EXPECT_FALSE(objects.next());
    EXPECT_THAT(takeUnreadable(objects), ElementsAre("\xEF\xBF\xBD~"));
    EXPECT_THAT(takeUnreadable(objects), IsEmpty());
    EXPECT_THAT(targets(), ElementsAre("GET /b?encoding-type=url HTTP/1.1",
                                       "GET /b?marker=a%01&encoding-type=url HTTP/1.1",
                                       "GET /b?marker=%FF~&encoding-type=url HTTP/1.1"));
    EXPECT_EQ(client.listEncodedObjects(request, "b", "", "", "", -1)->getObjects().size(), 1u);
}

TEST_F(S3ObjectEnumTest, NoticesKeysThatComeAgainAlsoWhereTheyCannotBeRead) {
    answer({page(true, {"\xFF"}), page(true, {"\xFF"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    objects.setEncodedKeys(true);
    objects.setVerifyKeys(true);
    EXPECT_EQ(plainErrorOf([&] { objects.next(); }),
              "The listing has the key '\xEF\xBF\xBD' after '\xEF\xBF\xBD', although its names must ascend.");
}

TEST_F(S3ObjectEnumTest, AsksWithoutTheArgumentWhereItIsRefused) {
    for (const char* refusal : {"InvalidArgument", "NotImplemented"}) {
        answer(
            {reply("400 Bad Request", errorDocument(refusal)), page(true, {" &amp;a"}), page(false, {"b"})});
        CNetRequest own;
        CS3ObjectEnum objects(&client, &own, "b", "", "", -1);
        objects.setEncodedKeys(true);
        EXPECT_THAT(walk(objects), ElementsAre(" &a", "b"));
    }
    EXPECT_EQ(targets().at(1), "GET /b HTTP/1.1");
    EXPECT_EQ(targets().at(2), "GET /b?marker=%20%26a HTTP/1.1");
    answer({reply("400 Bad Request", errorDocument("InvalidArgument")),
            reply("400 Bad Request", errorDocument("InvalidArgument")),
            reply("403 Forbidden", errorDocument("AccessDenied"))});
    CNetRequest own;
    CS3ObjectEnum objects(&client, &own, "b", "", "", -1);
    objects.setEncodedKeys(true);
    EXPECT_TRUE(thrownBy<CS3Error>([&] { objects.next(); }));
    EXPECT_TRUE(thrownBy<CS3Error>([&] { objects.next(); }));
}

TEST_F(S3ObjectEnumTest, ListsEncodedWithAllArguments) {
    answer({page(false, {"a"})});
    static_cast<void>(client.listEncodedObjects(request, "b b", "p/", "/", "m m", 100));
    EXPECT_THAT(
        targets(),
        ElementsAre("GET /b%20b?prefix=p%2F&marker=m%20m&max-keys=100&delimiter=%2F&encoding-type=url "
                    "HTTP/1.1"));
    EXPECT_EQ(argErrorOf([&] { client.prepareListEncodedObjectsRequest(request, "", "", "", "", -1); }),
              "CS3Client::prepareListEncodedObjectsRequest: bucket name must not be empty");
}

TEST_F(S3ObjectEnumTest, SaysThatAPageEndedWithinItsHeaders) {
    peer.onConnection().expectRequest().reply("HTTP/1.1 200 OK\r\nContent-Le").close();
    answer({page(false, {"a"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    objects.setEncodedKeys(true);
    const auto error = thrownBy<CError>([&] { objects.next(); });
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getMessage(), "The connection ended within the headers of the response.");
    EXPECT_TRUE(vexil::isTransientError(*error));
    EXPECT_THAT(walk(objects), ElementsAre("a"));
}

TEST_F(S3ObjectEnumTest, EndsWithAnErrorWhereAPageComesAgain) {
    answer({page(true, {"a", "b"}), page(true, {"a", "b"}), page(true, {"a", "b"})});
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    EXPECT_TRUE(objects.next());
    EXPECT_TRUE(objects.next());
    for (int tries = 0; tries < 2; ++tries) {
        EXPECT_EQ(plainErrorOf([&] { objects.next(); }),
                  "The listing goes in a circle: it came to the key 'b' again.");
        EXPECT_FALSE(objects.getCurrObject());
    }
}

TEST_F(S3ObjectEnumTest, EndsWithAnErrorWherePagesComeInACircle) {
    for (const bool isEncoded : {false, true}) {
        int pages = 0;
        peer.setDefaultReply([&pages](const RecordedRequest&) {
            const int number = pages++;
            return page(true,
                        {number < 4 ? "begin" + std::to_string(number) : "k" + std::to_string(number % 5)});
        });
        CNetRequest own;
        CS3ObjectEnum objects(&client, &own, "b", "", "", -1);
        objects.setEncodedKeys(isEncoded);
        int count = 0;
        const auto error = thrownBy<CError>([&] {
            for (; count < 100 && objects.next(); ++count) {
            }
        });
        ASSERT_TRUE(error);
        EXPECT_THAT(error->getMessage().toUTF8(), testing::StartsWith("The listing goes in a circle: "));
        EXPECT_LT(count, 30);
    }
}

TEST_F(S3ObjectEnumTest, FindsNoCircleInManyPages) {
    int pages = 0;
    peer.setDefaultReply([&pages](const RecordedRequest&) {
        ++pages;
        // Every third page fails and is requested again.
        return pages % 3 == 0 ? reply("403 Forbidden", errorDocument("AccessDenied"))
                              : page(pages < 100, {"k" + std::to_string(1000 + pages)});
    });
    CS3ObjectEnum objects(&client, &request, "b", "", "", -1);
    int count = 0;
    for (bool goesOn = true; goesOn;) {
        try {
            goesOn = objects.next();
            count += goesOn ? 1 : 0;
        } catch (const CS3Error&) {
        }
    }
    EXPECT_EQ(count, 67);
}

TEST_F(S3ObjectEnumTest, KeepsObjectsThatAreHeld) {
    answer({page(true, {"a"}), page(false, {"b"})});
    const P<CS3Client> counted = new TestClient(peer.url(""));
    const P<CNetRequest> countedRequest = new CNetRequest;
    CS3ObjectEnum objects(counted, countedRequest, "b", "", "", -1);
    EXPECT_TRUE(objects.next());
    const auto first = objects.getCurrObject();
    EXPECT_TRUE(objects.next());
    EXPECT_EQ(first->getKey(), "a");
    EXPECT_EQ(first->getSize(), 1);
}

}  // namespace
