// All operations against real FTP servers, over each kind of connection.
#include "tests/ftp/FTPServerTestSupport.h"
#include "zet/BufferStream.h"

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;

class FTPServerTest : public FTPDirectoryTest {
protected:
    FTPServerTest() : FTPDirectoryTest(GetParam()) {}
};

INSTANTIATE_TEST_SUITE_P(, FTPServerTest,
                         testing::Values(pureFTPdPlain, pureFTPdExplicitTLS, pyftpdlibPlain,
                                         pyftpdlibExplicitTLS, pyftpdlibImplicitTLS),
                         nameOf);

// ---- files -----------------------------------------------------------------------------------------------

TEST_P(FTPServerTest, FileIsStoredReadReplacedAndDeleted) {
    const std::string body = makeBytes(300000);
    upload(path("a.bin"), body);
    EXPECT_TRUE(isSame(readFile(onDisk("a.bin")), body));
    EXPECT_TRUE(isSame(download(path("a.bin")), body));
    upload(path("a.bin"), "shorter");
    EXPECT_EQ(readFile(onDisk("a.bin")), "shorter");
    client.deleteFile(request, path("a.bin"));
    EXPECT_THAT(namesOnDisk(), IsEmpty());
}

TEST_P(FTPServerTest, FileMayBeEmpty) {
    upload(path("memory"), "");
    const P<zet::CBufferStream> stream = new zet::CBufferStream;
    client.prepareUploadRequest(request, path("stream"), stream, 0, false);
    request.perform();
    for (const char* const name : {"memory", "stream"}) {
        EXPECT_EQ(readFile(onDisk(name)), "");
        EXPECT_EQ(download(path(name)), "");
        EXPECT_EQ(getInfo(path(name))->getSize(), 0);
    }
}

TEST_P(FTPServerTest, FilePassesThroughStreams) {
    const std::string body = makeBytes(200000);
    const P<zet::CBufferStream> source = new zet::CBufferStream;
    source->write(body.data(), static_cast<int>(body.size()));
    source->seek(50000);
    client.prepareUploadRequest(request, path("a"), source, 150000, false);
    for (int time = 0; time < 2; ++time) {
        // Performed again, it begins at the first position again.
        request.perform();
        EXPECT_TRUE(isSame(readFile(onDisk("a")), body.substr(50000)));
    }
    const P<zet::CBufferStream> sink = new zet::CBufferStream;
    client.prepareDownloadRequest(request, path("a"), 0, -1);
    request.setReceiveDataStream(sink);
    request.perform();
    const auto written = sink->getBuffer();
    EXPECT_TRUE(isSame(std::string(reinterpret_cast<const char*>(written->getData()),
                                   static_cast<std::size_t>(written->getUsed())),
                       body.substr(50000)));
}

TEST_P(FTPServerTest, RangesAreRead) {
    const std::string body = makeBytes(100000);
    upload(path("a"), body);
    EXPECT_TRUE(isSame(download(path("a"), 0, 10), body.substr(0, 10)));
    EXPECT_TRUE(isSame(download(path("a"), 99990, -1), body.substr(99990)));
    EXPECT_TRUE(isSame(download(path("a"), 40000, 20000), body.substr(40000, 20000)));
    EXPECT_EQ(download(path("a"), 5, 0), "");
    EXPECT_EQ(failureOf([&] { download(path("a"), 100001, -1); }).substr(0, 3), "36 ");
}

TEST_P(FTPServerTest, ARangeThatEndsPastTheFileIsTheRestOrAnError) {
    const std::string body = makeBytes(1000);
    upload(path("a"), body);
    client.prepareDownloadRequest(request, path("a"), 990, 100);
    try {
        request.perform();
    } catch (const CCURLError& error) {
        // From some version 8 of libcurl on.
        EXPECT_EQ(error.getCode(), CURLE_PARTIAL_FILE);
    }
    EXPECT_EQ(bodyOf(request), body.substr(990));
    EXPECT_TRUE(isSame(download(path("a")), body)) << "the request can be used again";
}

TEST_P(FTPServerTest, DownloadIsResumed) {
    const std::string body = makeBytes(100000);
    upload(path("a"), body);
    std::string got;
    while (got.size() < body.size()) {
        const std::size_t length = std::min<std::size_t>(40000, body.size() - got.size());
        const std::string piece =
            download(path("a"), static_cast<int64>(got.size()), static_cast<int64>(length));
        ASSERT_FALSE(piece.empty());
        got += piece;
    }
    EXPECT_TRUE(isSame(got, body));
}

TEST_P(FTPServerTest, DirectoriesAreReachedInEachWay) {
    const std::string body = makeBytes(1000);
    makeOnDisk("sub");
    makeOnDisk("sub/dir");
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        client.setPathEncoding(encoding);
        for (const auto type :
             {CFTPClient::CWDInvalid, CFTPClient::CWDSteps, CFTPClient::CWDDirect, CFTPClient::CWDNone}) {
            SCOPED_TRACE(CFTPClient::cwdTypeToString(type).toUTF8() + " " + std::to_string(encoding));
            client.setOverrideCWDType(type);
            upload(path("sub/dir/a"), body);
            EXPECT_TRUE(isSame(readFile(onDisk("sub/dir/a")), body));
            EXPECT_TRUE(isSame(download(path("sub/dir/a")), body));
            EXPECT_THAT(list(path("sub/dir")), ElementsAre("f a"));
            EXPECT_EQ(getInfo(path("sub/dir/a"))->getSize(), 1000);
            moveFile(path("sub/dir/a"), path("sub/b"));
            client.deleteFile(request, path("sub/b"));
            client.createDir(request, path("sub/dir/new"), false);
            EXPECT_THAT(list(path("sub/dir/")), ElementsAre("d new"));
            client.deleteDirWithAllContents(request, path("sub/dir/new"));
            EXPECT_THAT(namesOnDisk("sub/dir"), IsEmpty());
        }
    }
}

TEST_P(FTPServerTest, UploadCreatesMissingDirectories) {
    EXPECT_EQ(failureOf([&] { upload(path("x/y/a"), "1"); }), access.isPureFTPd() ? "25 553" : "25 550");
    EXPECT_THAT(namesOnDisk(), IsEmpty());
    upload(path("x/y/a"), "1", true);
    upload(path("x/y/b"), "2", true);
    EXPECT_THAT(namesOnDisk("x/y"), ElementsAre("a", "b"));
    EXPECT_EQ(readFile(onDisk("x/y/b")), "2");
}

TEST_P(FTPServerTest, MissingFilesAreErrors) {
    EXPECT_EQ(failureOf([&] { download(path("missing"), 0, -1); }), "78 550");
    EXPECT_EQ(failureOf([&] { download(path("missing"), 10, -1); }), "78 550");
    EXPECT_EQ(failureOf([&] { client.deleteFile(request, path("missing")); }), "21 550");
    EXPECT_EQ(failureOf([&] { moveFile(path("missing"), path("new")); }), "21 550");
    EXPECT_EQ(failureOf([&] { getInfo(path("missing")); }), "21 550");
    client.setOverrideCWDType(CFTPClient::CWDDirect);
    EXPECT_EQ(failureOf([&] { download(path("missing/a")); }), "9 550");
    EXPECT_EQ(failureOf([&] { upload(path("missing/a"), "1"); }), "9 550");
}

// ---- entries ---------------------------------------------------------------------------------------------

TEST_P(FTPServerTest, EntriesAreListed) {
    makeOnDisk("dir");
    makeOnDisk("Dir with blanks");
    writeOnDisk("a", "hello");
    writeOnDisk(".hidden", "");
    EXPECT_THAT(list(path("")), ElementsAre("d Dir with blanks", "d dir", "f .hidden", "f a"));
    EXPECT_THAT(list(path("dir")), IsEmpty());
    const P<CFTPListDirResult> listing = client.listDir(request, text(directory));
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        EXPECT_TRUE(entry->getModifiedTime().isSet());
        EXPECT_EQ(entry->getName() == "a" ? entry->getSize() : 5, 5);
    }
}

TEST_P(FTPServerTest, MissingDirectoryIsNotListed) {
    EXPECT_EQ(failureOf([&] { list(path("missing")); }), access.isPureFTPd() ? "19 550" : "19 501");
    client.setOverrideCWDType(CFTPClient::CWDSteps);
    EXPECT_EQ(failureOf([&] { list(path("missing")); }), "9 550");
}

TEST_P(FTPServerTest, InformationIsGivenOnFilesAndDirectories) {
    writeOnDisk("a b.txt", "hello");
    makeOnDisk("dir");
    const auto file = getInfo(path("a b.txt"));
    EXPECT_EQ(file->getType(), IFileInfoBase::TypeFile);
    EXPECT_EQ(file->getSize(), 5);
    EXPECT_TRUE(file->getName().endsWith("a b.txt")) << file->getName().toUTF8();
    EXPECT_EQ(getInfo(path("dir"))->getType(), IFileInfoBase::TypeDirectory);
    EXPECT_TRUE(exists(path("a b.txt")));
    EXPECT_TRUE(exists(path("dir")));
    EXPECT_FALSE(exists(path("missing")));
}

// ---- directories -----------------------------------------------------------------------------------------

TEST_P(FTPServerTest, DirectoryIsMadeAndRemoved) {
    client.createDir(request, path("new"), false);
    EXPECT_TRUE(std::filesystem::is_directory(onDisk("new")));
    EXPECT_EQ(failureOf([&] { client.createDir(request, path("new"), false); }), "21 550");
    EXPECT_EQ(failureOf([&] { client.createDir(request, path("x/y"), false); }), "21 550");
    upload(path("new/a"), "1");
    EXPECT_EQ(failureOf([&] { client.removeDir(request, path("new")); }), "21 550");
    EXPECT_EQ(failureOf([&] { client.deleteFile(request, path("new")); }), "21 550");
    client.deleteFile(request, path("new/a"));
    client.removeDir(request, path("new"));
    EXPECT_EQ(failureOf([&] { client.removeDir(request, path("new")); }), "21 550");
    EXPECT_THAT(namesOnDisk(), IsEmpty());
}

TEST_P(FTPServerTest, DirectoryIsMadeWithItsParents) {
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        client.setPathEncoding(encoding);
        client.createDir(request, path("x/y/z"), true);
        EXPECT_TRUE(std::filesystem::is_directory(onDisk("x/y/z")));
        upload(path("x/y/z/kept"), "1");
        client.createDir(request, path("x/y/z"), true);
        client.createDir(request, path("x/y/"), true);
        EXPECT_EQ(readFile(onDisk("x/y/z/kept")), "1");
        EXPECT_EQ(failureOf([&] { client.createDir(request, path("x/y/z/kept/deeper"), true); }), "9 550");
        client.deleteDirWithAllContents(request, path("x"));
    }
}

TEST_P(FTPServerTest, DirectoryIsDeletedWithAllItsContents) {
    // Three levels and 500 files.
    makeOnDisk("tree");
    int files = 0;
    for (const std::string first : {"", "/one", "/two two", "/.three"}) {
        for (const std::string second : {"", "/one", "/zwei\xC3\xA4", "/empty"}) {
            if (first.empty() && !second.empty()) {
                continue;
            }
            makeOnDisk("tree" + first + second);
            for (int number = 0; number < 50 && second != "/empty" && files < 500; ++number, ++files) {
                writeOnDisk("tree" + first + second + "/file " + std::to_string(number) + "#?;%41", "x");
            }
        }
    }
    ASSERT_EQ(files, 500);
    writeOnDisk("neighbour");
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    client.deleteDirWithAllContents(request, path("tree"));
    EXPECT_THAT(namesOnDisk(), ElementsAre("neighbour"));
}

TEST_P(FTPServerTest, LinkToADirectoryIsFollowedWhereTheServerListsItAsOne) {
    makeOnDisk("tree");
    makeOnDisk("elsewhere");
    writeOnDisk("elsewhere/a", "1");
    std::filesystem::create_symlink("../elsewhere", onDisk("tree/link"));
    EXPECT_EQ(failureOf([&] { client.deleteDirWithAllContents(request, path("tree")); }), "21 550");
    EXPECT_TRUE(isThere("tree/link"));
    EXPECT_EQ(isThere("elsewhere/a"), access.isPureFTPd());
}

// ---- moves -----------------------------------------------------------------------------------------------

TEST_P(FTPServerTest, FileIsMoved) {
    const std::string body = makeBytes(70000);
    upload(path("a"), body);
    makeOnDisk("dir");
    moveFile(path("a"), path("dir/b c"));
    EXPECT_TRUE(isSame(readFile(onDisk("dir/b c")), body));
    EXPECT_FALSE(isThere("a"));
    EXPECT_EQ(failureOf([&] { moveFile(path("dir/b c"), path("x/y/z")); }),
              access.isPureFTPd() ? "21 451" : "21 550");
    EXPECT_TRUE(isSame(readFile(onDisk("dir/b c")), body));
}

TEST_P(FTPServerTest, FileIsMovedToDirectoriesThatAreMissing) {
    const std::string body = makeBytes(70000);
    for (const auto encoding : {CFTPClient::PathVerbatim, CFTPClient::PathPercentEncode}) {
        client.setPathEncoding(encoding);
        upload(path("a"), body);
        moveFile(path("a"), path("x/y/b"), true);
        EXPECT_TRUE(isSame(readFile(onDisk("x/y/b")), body));
        EXPECT_THAT(namesOnDisk(), ElementsAre("x"));
        moveFile(path("x/y/b"), path("x/y/c"), true);
        EXPECT_TRUE(isSame(readFile(onDisk("x/y/c")), body));
        client.deleteDirWithAllContents(request, path("x"));
    }
}

TEST_P(FTPServerTest, DirectoryIsMoved) {
    makeOnDisk("from");
    makeOnDisk("from/sub");
    writeOnDisk("from/sub/a", "1");
    makeOnDisk("dir");
    moveDir(path("from"), path("dir/to"));
    EXPECT_EQ(readFile(onDisk("dir/to/sub/a")), "1");
    EXPECT_THAT(namesOnDisk(), ElementsAre("dir"));
    EXPECT_EQ(failureOf([&] { moveDir(path("from"), path("dir/other")); }), "21 550");
}

TEST_P(FTPServerTest, DirectoryIsMovedToDirectoriesThatAreMissing) {
    makeOnDisk("from");
    makeOnDisk("from/sub");
    writeOnDisk("from/sub/a", "1");
    if (access.isPureFTPd()) {
        // The server moves the directory and then refuses the file that makes libcurl create the other
        // directories.
        EXPECT_EQ(failureOf([&] { moveDir(path("from"), path("x/y/to"), true); }), "25 553");
    } else {
        moveDir(path("from"), path("x/y/to"), true);
    }
    EXPECT_EQ(readFile(onDisk("x/y/to/sub/a")), "1");
    EXPECT_THAT(namesOnDisk("x/y/to"), ElementsAre("sub"));
    EXPECT_THAT(namesOnDisk(), ElementsAre("x"));
}

}  // namespace
