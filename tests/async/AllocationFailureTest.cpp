// Memory runs out at each place in turn: the n-th allocation fails, alone or with all that follow. The result
// of the library is an error or a real success; nothing crashes, hangs or leaks, and every waiter is
// notified.
#include "tests/async/AsyncTestSupport.h"
#include "tests/ftp/FTPPeer.h"
#include "tests/support/FailingAllocations.h"
#include "tests/support/ScriptedPeer.h"
#include "tests/support/SparedXML.h"
#include "vexil/async/AsyncNetRequestThread.h"
#include "vexil/async/FunctionTransferJob.h"
#include "vexil/async/TransferPolicy.h"
#include "vexil/async/TransferQueue.h"
#include "vexil/ftp/FTPClient.h"
#include "vexil/ftp/FTPListDirResult.h"
#include "vexil/mail/MultiPartMimeMessage.h"
#include "vexil/mail/SMTPClient.h"
#include "vexil/net/SharedConnections.h"
#include "vexil/s3/S3Client.h"
#include "vexil/s3/S3ObjectEnum.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>
#include <unistd.h>

namespace {

using namespace vexil;
using namespace vexil_test;
using zet::CBufferStream;

constexpr unsigned int longestTry = 60;  // seconds
constexpr long manyAllocations = 20000;

char t_try[200] = "";

/// Names the try that hangs.
extern "C" void onAlarm(int) {
    static constexpr char text[] = "This try does not come to its end: ";
    [[maybe_unused]] auto written = write(STDERR_FILENO, text, sizeof text - 1);
    written = write(STDERR_FILENO, t_try, std::strlen(t_try));
    std::_Exit(1);
}

/// The calls of a done listener. Allocates nothing.
class CTold : public virtual CBase, public CNetRequest::IDoneListener {
public:
    void onDone(CNetRequest*, CError* error) override {
        hasError = error != nullptr;
        ++count;
    }

    std::atomic<int> count = 0;
    std::atomic<bool> hasError = false;
};

/// True if a buffer has these bytes.
bool holds(const TBuffer<unsigned char>& buffer, std::string_view bytes) {
    return static_cast<std::size_t>(buffer.getUsed()) == bytes.size() &&
           std::memcmp(buffer.getData(), bytes.data(), bytes.size()) == 0;
}

const std::string body = "A body of more bytes than fit into a short text.";
const std::string listing = R"(<?xml version="1.0" encoding="UTF-8"?>
<ListBucketResult xmlns="http://s3.amazonaws.com/doc/2006-03-01/"><Name>bucket</Name><Prefix></Prefix>
<IsTruncated>false</IsTruncated>
<Contents><Key>first object with a long name</Key><LastModified>2026-01-02T03:04:05.000Z</LastModified>
<ETag>&quot;0123456789abcdef0123456789abcdef&quot;</ETag><Size>5</Size></Contents>
<Contents><Key>second object with a long name</Key><LastModified>2026-01-02T03:04:05.000Z</LastModified>
<ETag>&quot;0123456789abcdef0123456789abcdef&quot;</ETag><Size>7</Size></Contents></ListBucketResult>)";
const std::string s3Error = R"(<?xml version="1.0" encoding="UTF-8"?>
<Error><Code>NoSuchKey</Code><Message>The specified key does not exist.</Message>
<Resource>/bucket/missing</Resource><RequestId>4442587FB7D0A2F9</RequestId></Error>)";

std::string answerTo(const RecordedRequest& request) {
    const std::string line = request.requestLine();
    if (line.find("/missing") != std::string::npos) {
        return answerOf("HTTP/1.1 404 Not Found\r\nContent-Type: application/xml", s3Error);
    }
    if (line.find("/page") != std::string::npos) {
        return answerOf("HTTP/1.1 404 Not Found\r\nContent-Type: text/html",
                        "<html><body><p>There is nothing under this address.</p></body></html>");
    }
    if (line.find("/bucket?") != std::string::npos || line.ends_with("/bucket HTTP/1.1")) {
        return answerOf("HTTP/1.1 200 OK\r\nContent-Type: application/xml", listing);
    }
    return answerOf("HTTP/1.1 200 OK\r\nX-Header: a value of more than a few characters", body);
}

class AllocationFailureTest : public testing::Test {
protected:
    /// How a try has ended.
    enum class End { Success, Failure, Wrong };

    AllocationFailureTest() {
        std::signal(SIGALRM, &onAlarm);
        m_peer.setDefaultReply(&answerTo);
        static_cast<void>(zet::getLogSink());  // makes the sink, which stays
    }
    ~AllocationFailureTest() override { alarm(0); }

    String url(const char* path) const { return String::fromUTF8(m_peer.url(path)); }

    /// Runs `attempt`, which returns true if its result is right, while each of its allocations fails in
    /// turn. `check` checks each try after its end, when memory is available again.
    template <class Attempt, class Check>
    void sweep(const Attempt& attempt, const Check& check) {
        // Once for everything that is made on first use.
        ASSERT_EQ(tryOnce(attempt, manyAllocations, Shortage::One), End::Success);
        check(End::Success);
        m_peer.clearRecords();
        for (const Shortage shortage : {Shortage::One, Shortage::FromHere}) {
            for (long n = 1; n < manyAllocations; ++n) {
                SCOPED_TRACE("allocation " + std::to_string(n) +
                             (shortage == Shortage::One ? "" : " and all that follow"));
                const long before = FailingAllocations::heldBlocks();
                const End end = tryOnce(attempt, n, shortage);
                if (m_countsBlocks) {
                    ASSERT_EQ(FailingAllocations::heldBlocks(), before) << "something leaks";
                }
                ASSERT_NE(end, End::Wrong);
                ASSERT_NO_FATAL_FAILURE(check(end));
                m_peer.clearRecords();
                if (!m_hasFailed) {
                    ASSERT_EQ(end, End::Success);
                    ASSERT_GT(n, 10) << "hardly anything was allocated";
                    break;
                }
                ASSERT_LT(n, manyAllocations - 1) << "there is no end of it";
            }
        }
    }
    template <class Attempt>
    void sweep(const Attempt& attempt) {
        sweep(attempt, [](End) {});
    }

    ScriptedPeer m_peer;
    /// False if threads that do not participate free blocks of those that do.
    bool m_countsBlocks = true;

private:
    template <class Attempt>
    End tryOnce(const Attempt& attempt, long n, Shortage shortage) {
        const auto* const test = testing::UnitTest::GetInstance()->current_test_info();
        std::snprintf(t_try, sizeof t_try, "%s, allocation %ld%s\n", test->name(), n,
                      shortage == Shortage::One ? "" : " and all that follow");
        alarm(longestTry);
        const FailingAllocations failing(n, shortage);
        const End end = endOf(attempt);
        m_hasFailed = failing.haveFailed();
        return end;
    }
    template <class Attempt>
    static End endOf(const Attempt& attempt) {
        try {
            return attempt() ? End::Success : End::Wrong;
        } catch (const CError&) {
            return End::Failure;
        } catch (const std::bad_alloc&) {
            return End::Failure;
        } catch (...) {
            return End::Wrong;
        }
    }

    bool m_hasFailed = false;
};

// ---- HTTP ------------------------------------------------------------------------------------------------

TEST_F(AllocationFailureTest, OfADownload) {
    const String address = url("/object");
    sweep([&] {
        CNetRequest request;
        request.setProxy("");
        request.setURL(address);
        request.perform();
        const auto header = request.getResponseHeaderMap().find("x-header");
        const bool hasHeader = header != request.getResponseHeaderMap().end() &&
                               header->second == "a value of more than a few characters";
        return request.getResponseCode() == 200 && holds(*request.getDefaultReceiveBuffer(), body) &&
               (hasHeader || !request.isResponseComplete());
    });
}

TEST_F(AllocationFailureTest, OfADownloadOverAConnectionOfItsOwnKind) {
    const String address = url("/object");
    sweep([&] {
        CNetRequest request;
        request.setProxy("");
        request.setURL(address);
        request.setSSLVerifyPeer(false);
        request.setRootCertBundlePath(
            TPathImpl<CWindowsPathTraits>("a file of certificates that is not asked for"));
        request.setFTPUseSSL(CURLUSESSL_TRY);
        request.perform();
        return holds(*request.getDefaultReceiveBuffer(), body);
    });
}

TEST_F(AllocationFailureTest, OfDownloadsThatShareAConnection) {
    const String address = url("/object");
    sweep([&] {
        const P<vexil::CSharedConnections> shared = new vexil::CSharedConnections;
        for (int i = 0; i < 2; ++i) {
            CNetRequest request;
            setSharedConnections(request, shared);
            request.setProxy("");
            request.setURL(address);
            request.perform();
            if (!holds(*request.getDefaultReceiveBuffer(), body)) {
                return false;
            }
        }
        return true;
    });
}

TEST_F(AllocationFailureTest, OfADownloadIntoAStream) {
    const String address = url("/object");
    sweep([&] {
        const P<TBuffer<unsigned char>> received = new TBuffer<unsigned char>;
        CNetRequest request;
        request.setProxy("");
        request.setURL(address);
        request.setReceiveDataStream(new CBufferStream(received));
        request.perform();
        return holds(*received, body);
    });
}

TEST_F(AllocationFailureTest, OfAPost) {
    const String address = url("/post");
    sweep(
        [&] {
            CNetRequest request;
            request.setProxy("");
            request.setURL(address);
            request.setHTTPMethod("POST");
            const P<CNetHeaders> headers = new CNetHeaders;
            headers->add("X-Long-Name-Of-A-Header", "a value of more than a few characters");
            request.setCustomHTTPHeaders(headers);
            request.setSendDataAsUTF8("a text to be sent that is not quite short");
            request.perform();
            return request.getResponseCode() == 200;
        },
        [&](End end) {
            if (end == End::Success) {
                const auto requests = m_peer.requests();
                ASSERT_EQ(requests.size(), 1u);
                EXPECT_EQ(requests[0].body, "a text to be sent that is not quite short");
                EXPECT_EQ(requests[0].header("X-Long-Name-Of-A-Header"),
                          "a value of more than a few characters");
            }
        });
}

TEST_F(AllocationFailureTest, OfAStatusThatIsAnError) {
    const String address = url("/page");
    std::optional<CTold> told;
    told.emplace();
    sweep(
        [&] {
            CNetRequest request;
            request.setProxy("");
            request.setURL(address);
            request.setVerbose(true);
            request.setDoneListener(&*told);
            try {
                request.perform();
            } catch (const CCURLError& error) {
                // An error is right here.
                return error.getResponseCode() == 404 && request.getRedactedVerboseOutput(100) &&
                       request.getVerboseOutput(100);
            }
            return false;
        },
        [&](End) {
            if (!m_peer.requests().empty()) {
                EXPECT_EQ(told->count, 1) << "the listener is not told";
                EXPECT_TRUE(told->hasError);
            }
            told.emplace();
        });
}

// ---- S3 --------------------------------------------------------------------------------------------------

class AllocationFailureS3Test : public AllocationFailureTest {
protected:
    static CS3Client makeClient(const String& address) {
        CS3Client client("an access key that is long", "a secret key that is long", false);
        client.setBaseURL(address);
        return client;
    }
    const String address = url("/");
};

TEST_F(AllocationFailureS3Test, OfAPut) {
    sweep(
        [&] {
            CS3Client client = makeClient(address);
            CNetRequest request;
            client.putObject(request, "bucket", "object", body.data(), static_cast<int>(body.size()),
                             "text/plain");
            return request.getResponseCode() == 200;
        },
        [&](End end) {
            if (end == End::Success) {
                const auto requests = m_peer.requests();
                ASSERT_FALSE(requests.empty());
                EXPECT_EQ(requests.back().body, body);
                EXPECT_EQ(requests.back().header("Content-Type"), "text/plain");
                EXPECT_TRUE(requests.back().header("Authorization"));
            }
        });
}

TEST_F(AllocationFailureS3Test, OfAPutOfAStream) {
    sweep(
        [&] {
            CS3Client client = makeClient(address);
            CNetRequest request;
            const P<CBufferStream> stream = new CBufferStream;
            stream->write(body.data(), static_cast<int>(body.size()));
            stream->seek(0);
            client.putObject(request, "bucket", "object", stream, body.size(), "text/plain");
            return request.getResponseCode() == 200;
        },
        [&](End end) {
            if (end == End::Success) {
                const auto requests = m_peer.requests();
                ASSERT_FALSE(requests.empty());
                EXPECT_EQ(requests.back().body, body);
            }
        });
}

TEST_F(AllocationFailureS3Test, OfAGet) {
    sweep([&] {
        CS3Client client = makeClient(address);
        CNetRequest request;
        client.getObject(request, "bucket", "object", 0, -1);
        return holds(*request.getDefaultReceiveBuffer(), body);
    });
}

TEST_F(AllocationFailureS3Test, OfAGetIntoAStream) {
    sweep([&] {
        CS3Client client = makeClient(address);
        CNetRequest request;
        const P<TBuffer<unsigned char>> received = new TBuffer<unsigned char>;
        const P<CBufferStream> stream = new CBufferStream(received);
        client.getObject(request, "bucket", "object", 0, -1, stream);
        return holds(*received, body);
    });
}

TEST_F(AllocationFailureS3Test, OfAnErrorOfTheService) {
    sweep([&] {
        CS3Client client = makeClient(address);
        CNetRequest request;
        try {
            client.getObject(request, "bucket", "missing", 0, -1);
        } catch (const CError& error) {
            return CS3Client::isNotFoundError(error);
        }
        return false;
    });
}

TEST_F(AllocationFailureS3Test, OfAListing) {
    sweep([&] {
        const P<CS3Client> client = new CS3Client(makeClient(address));
        const P<CNetRequest> request = new CNetRequest;
        CS3ObjectEnum objects(client, request, "bucket", "", "", -1);
        int count = 0;
        while (objects.next()) {
            const int64 size = objects.getCurrObject()->getSize();
            if (!objects.getCurrObject()->getKey().endsWith(" object with a long name") ||
                size != (count == 0 ? 5 : 7)) {
                return false;
            }
            ++count;
        }
        return count == 2;
    });
}

// ---- mail ------------------------------------------------------------------------------------------------

/// A mail server for one connection.
void playMail(ScriptedPeer& peer, const std::string& message) {
    peer.onConnection()
        .reply("220 here\r\n")
        .expectLine()
        .reply("250 here\r\n")
        .expectLine("MAIL FROM:<a@x>")
        .reply("250 yes\r\n")
        .expectLine("RCPT TO:<recipient-with-a-long-name@x>")
        .reply("250 yes\r\n")
        .expectLine("DATA")
        .reply("354 go on\r\n")
        .expectExactly(message)
        .reply("250 taken\r\n")
        .expectLine("QUIT")
        .reply("221 bye\r\n")
        .close()
        .clientMayLeave();
}

TEST_F(AllocationFailureTest, OfAMail) {
    const std::string text = "Subject: the subject of this mail\r\n\r\ntext\r\n";
    std::optional<ScriptedPeer> server;
    const auto renew = [&] {
        server.emplace();
        playMail(*server, text + ".\r\n");
    };
    renew();
    sweep(
        [&] {
            CSMTPClient client(
                CSMTPParams("127.0.0.1", server->port(), CSMTPParams::ConnectUnencrypted, "", ""));
            TBuffer<unsigned char> message;
            message.append(reinterpret_cast<const unsigned char*>(text.data()),
                           static_cast<int>(text.size()));
            client.sendMail("a@x", {"recipient-with-a-long-name@x"}, message);
            return true;
        },
        [&](End end) {
            // The connection is closed: all bytes have come.
            const bool isWhole = server->connectionCount() > 0 && server->waitUntilIdle() &&
                                 server->received(0).find("\r\n.\r\n") != std::string::npos;
            EXPECT_EQ(isWhole, end == End::Success) << "who sends a mail again that was taken sends it twice";
            renew();
        });
}

TEST_F(AllocationFailureTest, OfAMessageWithAnAttachment) {
    const std::string file(1000, 'x');
    sweep([&] {
        const P<CMimeMessage> text = new CMimeMessage("text/plain; charset=utf-8");
        text->setTextBody("A text that says what is attached.");
        CMultiPartMimeMessage message("mixed");
        message.addPart(text);
        const P<TBuffer<unsigned char>> bytes = new TBuffer<unsigned char>;
        bytes->append(reinterpret_cast<const unsigned char*>(file.data()), static_cast<int>(file.size()));
        message.addPart(CMimeMessage::createAttachment("the name of a file.txt", "text/plain", bytes));
        const P<CBufferStream> stream = new CBufferStream;
        message.store(*stream);
        return stream->getSize() > 1000;
    });
}

// ---- FTP -------------------------------------------------------------------------------------------------

TEST_F(AllocationFailureTest, OfAnFTPListing) {
    const std::string entries = "type=file;size=3;modify=20260102030405; a file with a long name\r\n"
                                "type=dir;modify=20260102030405; a directory with a long name\r\n";
    const FTPDialogue dialogue = {
        {"", {"220 Ready"}},
        {"USER tester", {"331 Password"}},
        {"PASS secret", {"230 In"}},
        {"PWD", {"257 \"/\" is where you are"}},
        {"EPSV", {"229 Extended passive (|||DATA_PORT|)"}},
        {"TYPE A", {"200 Text"}},
        {"MLSD directory", {"150 Here it comes", "226 Sent"}, FTPExchange::Data::Send, entries},
        {"QUIT", {"221 Bye"}}};
    std::optional<FTPPeer> server;
    const auto renew = [&] {
        server.emplace();
        server->play(dialogue);
    };
    renew();
    sweep(
        [&] {
            CFTPClient client(String::fromUTF8(server->host()), "tester", "secret", CFTPClient::ConnectPlain);
            const P<CNetRequest> request = new CNetRequest;
            client.prepareListDirRequest(*request, "/directory");
            TestManager manager;
            manager.addRequest(request);
            while (manager.getRequestCount() > 0) {
                manager.waitForEvents(-1);
                manager.handleEvents(nullptr);
            }
            request->checkAsyncResult();
            const CFTPListDirResult result(*request->getDefaultReceiveBuffer());
            return result.getEntries().size() == 2 &&
                   result.getEntries()[0]->getName() == "a file with a long name" &&
                   result.getEntries()[0]->getSize() == 3 &&
                   result.getEntries()[1]->getName() == "a directory with a long name";
        },
        [&](End) { renew(); });
}

// ---- many at once ----------------------------------------------------------------------------------------

/// Notifications of a request that succeeds, of one that fails by its status, and of one without a response.
class AllocationFailureOfManyTest : public AllocationFailureTest {
protected:
    static constexpr std::size_t count = 3;

    P<CNetRequest> makeRequest(std::size_t index) {
        P<CNetRequest> request = new CNetRequest;
        request->setProxy("");
        request->setURL(addresses[index]);
        request->setDoneListener(&told->at(index));
        return request;
    }
    /// True if the listener and the request report the same, and no failure looks like a success.
    bool isRight(std::size_t index, CNetRequest& request) {
        bool hasFailed = false;
        try {
            request.checkAsyncResult();
        } catch (const CError&) {
            hasFailed = true;
        } catch (const std::bad_alloc&) {
            hasFailed = true;
        }
        const CTold& told_ = told->at(index);
        return told_.count == 1 && told_.hasError == hasFailed && (hasFailed || index == 0);
    }
    void renew() { told.emplace(); }

    const String addresses[count] = {url("/object"), url("/page"),
                                     String("http://127.0.0.1:") +
                                         String::fromInt(ScriptedPeer::closedPort()) + "/nobody"};
    std::optional<std::array<CTold, count>> told{std::in_place};
};

TEST_F(AllocationFailureOfManyTest, OnAManager) {
    bool isAdded[count] = {};
    sweep(
        [&] {
            TestManager manager;
            P<CNetRequest> requests[count];
            for (std::size_t i = 0; i < count; ++i) {
                requests[i] = makeRequest(i);
                manager.addRequest(requests[i]);
                isAdded[i] = true;
            }
            while (manager.getRequestCount() > 0) {
                manager.waitForEvents(-1);
                manager.handleEvents(nullptr);
            }
            bool areRight = true;
            for (std::size_t i = 0; i < count; ++i) {
                areRight = areRight && isRight(i, *requests[i]);
            }
            return areRight;
        },
        [&](End end) {
            // A failed addition destroys the manager with its running requests.
            const bool areAllAdded = isAdded[count - 1];
            for (std::size_t i = 0; i < count && areAllAdded; ++i) {
                EXPECT_EQ(told->at(i).count, 1) << "the listener of request " << i << " is not told";
                EXPECT_TRUE(told->at(i).hasError || i == 0);
            }
            EXPECT_TRUE(areAllAdded || end == End::Failure);
            std::fill_n(isAdded, count, false);
            renew();
        });
}

/// A worker whose allocations fail, too.
class CStarvingWorker : public TestWorker {
public:
    CStarvingWorker() : TestWorker(nullptr) {}
    ~CStarvingWorker() override { stop(true); }

protected:
    void runImpl() override {
        FailingAllocations::takePart();
        CAsyncNetRequestThread::runImpl();
    }
};

TEST_F(AllocationFailureOfManyTest, OnAWorker) {
    sweep(
        [&] {
            const P<CStarvingWorker> worker = new CStarvingWorker;
            worker->start();
            // One after the other: a worker ends if it cannot pick up a request, and others are then not
            // notified.
            for (std::size_t i = 0; i < count; ++i) {
                const P<CNetRequest> request = makeRequest(i);
                worker->addRequest(request);
                while (!request->waitAsyncDone(1)) {
                    if (!worker->isAlive()) {
                        if (const P<CError> error = worker->getError()) {
                            error->throwClone();
                        }
                        return false;
                    }
                }
                worker->removeRequest(request);
                if (!isRight(i, *request)) {
                    return false;
                }
            }
            return true;
        },
        [&](End) {
            // Requests that the server has seen were picked up.
            const std::size_t seen = m_peer.requests().size();
            for (std::size_t i = 0; i < seen; ++i) {
                EXPECT_EQ(told->at(i).count, 1) << "the listener of request " << i << " is not told";
            }
            renew();
        });
}

/// The worker of the queue has enough memory. Each job is told one end, unless the queue throws.
TEST_F(AllocationFailureOfManyTest, OnAQueue) {
    m_countsBlocks = false;
    int successes = 0;
    int failures = 0;
    sweep(
        [&] {
            successes = 0;
            failures = 0;
            CTransferQueue queue(new CTransferPolicy({.maxRetries = 0}), 2);
            for (const String& target : addresses) {
                queue.start(makeTransferJob(
                    [&target](CNetRequest& request) {
                        request.setProxy("");
                        request.setURL(target);
                    },
                    [&successes](CNetRequest& request) {
                        successes += holds(*request.getDefaultReceiveBuffer(), body) ? 1 : 2;
                    },
                    [&failures](const CError&) { ++failures; }));
            }
            queue.finish();
            return successes <= 1 && successes + failures == static_cast<int>(count);
        },
        [&](End) {
            EXPECT_LE(successes, 1);
            EXPECT_LE(successes + failures, static_cast<int>(count));
        });
}

}  // namespace
