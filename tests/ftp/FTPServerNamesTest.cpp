// Names that are not URL text pass through all operations and come back unchanged.
#include "tests/ftp/FTPServerTestSupport.h"

#include <map>
#include <set>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr std::size_t nameCount = 200;

std::string repeat(const std::string& piece, std::size_t count) {
    std::string repeated;
    for (std::size_t i = 0; i < count; ++i) {
        repeated += piece;
    }
    return repeated;
}

const std::string chinese = "\xE6\xBC\xA2\xE5\xAD\x97";  // two characters
const std::string emoji = "\xF0\x9F\x98\x80";
const std::string umlauts = "\xC3\xA4\xC3\xB6\xC3\xBC\xC3\x9F\xC3\x84";

/// 200 names. None contains "/" or a control character, which are not possible in a URL.
std::vector<std::string> makeNames() {
    std::vector<std::string> names = {
        // spaces
        " ", " lead", "  two lead", "trail ", "two trail  ", " both ", "a  b", "a b c",
        // URL text
        "%41", "%", "%%", "%2F", "%2f%2e", "%00", "%0D%0A", "%zz", "100%", "a%20b", "report #3 100%.pdf", "#",
        "#fragment", "##", "a#", "?", "??", "?x=1&y=2", "a?", ";", ";type=d", "a;type=d", "a;type=a",
        ";type=i", "type=d;", "user:secret@host", "ftp:", "http:x", "a+b c+d", "~", "~tester", "~root",
        "&amp;",
        // commands and listings
        "...", "..a", "a..", ".a", ". .", "- ", "-", "-rf", "--help", "-la a", "*", "*.txt", "[a]", "[!a]",
        "{a,b}", "type=file;size=1; a", "size=1;", "250-a", "250 a", "a;b=c; d", "CDUP", "NLST", "a\"b\"c",
        "\"\"", "\"", "!", "$HOME", "$(id)", "`id`", "|ls", ">out", "a>b<c", "'", "''", "C:", "C:a", "nul",
        "con.txt", "\\", "C:\\a", "@", "=",
        // other characters
        umlauts, "a" + umlauts + " b", chinese, chinese + " " + chinese + ".txt", emoji, emoji + " " + emoji,
        "e\xCC\x81", "\xC3\xA9", "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D",
        "\xE2\x80\xAE"
        "abc",
        "\xC2\xA0"
        "a",
        "a\xE2\x80\xA8"
        "b",
        "\xEF\xBB\xBF"
        "bom",
        "\xF4\x8F\xBF\xBD", "\xEF\xBF\xBD",
        "\xC2\x85"
        "a",
        "\xE3\x80\x80"
        "a",
        // long names
        repeat("x", 200), repeat(chinese, 33) + "xx", repeat(emoji, 50), repeat("%41#", 50),
        repeat(" ", 198) + "xy", repeat("\xC3\xA4", 100)};
    for (char c = ' '; c <= '~'; ++c) {
        if (c != '/') {
            names.push_back(std::string("x") + c + "y");
        }
    }
    return names;
}

/// The elements that only one of two sorted lists has: a failure then shows a few names and not all.
std::vector<std::string> differences(const std::vector<std::string>& some,
                                     const std::vector<std::string>& others) {
    std::vector<std::string> found;
    std::set_symmetric_difference(some.begin(), some.end(), others.begin(), others.end(),
                                  std::back_inserter(found));
    return found;
}

/// The result for a name that a server does not accept unchanged.
struct Refusal {
    std::string failure;   ///< of the upload; "" if it is stored
    std::string storedAs;  ///< the name under which it is stored; "" if it is not
};

using Refusals = std::map<std::string, Refusal>;

/// The names that Pure-FTPd refuses or changes in a path; pyftpdlib accepts all.
const Refusals pureFTPdRefusals = {
    {"x\\y", {"25 553", ""}},   {"\\", {"25 553", ""}},     {"C:\\a", {"25 553", ""}},
    {" ", {"", "_"}},           {"trail ", {"", "trail_"}}, {"two trail  ", {"", "two trail__"}},
    {" both ", {"", " both_"}}, {"- ", {"", "-_"}},
};

/// The names that it also changes if a name is alone in a command, as after CWD.
const Refusals pureFTPdRefusalsOfNamesAlone = {
    {" lead", {"", "_lead"}},
    {"  two lead", {"", "__two lead"}},
    {" both ", {"", "_both_"}},
    {repeat(" ", 198) + "xy", {"", repeat("_", 198) + "xy"}},
};

class FTPServerNamesTest : public FTPDirectoryTest {
protected:
    FTPServerNamesTest() : FTPDirectoryTest(GetParam()) {
        client.setPathEncoding(CFTPClient::PathPercentEncode);
    }

    /// Stores a file of each name in "from". Returns the bodies by the names under which they are stored.
    std::map<std::string, std::string> uploadAll(const std::vector<std::string>& names,
                                                 const Refusals& refusals, bool createMissingDirs) {
        std::map<std::string, std::string> bodies;
        for (const std::string& name : names) {
            SCOPED_TRACE("'" + name + "'");
            const std::string body = "body of '" + name + "'";
            const auto found = refusals.find(name);
            const Refusal refusal = found == refusals.end() ? Refusal{"", name} : found->second;
            if (refusal.storedAs.empty()) {
                EXPECT_EQ(failureOf([&] { upload(path("from/" + name), body, createMissingDirs); }),
                          refusal.failure);
            } else {
                upload(path("from/" + name), body, createMissingDirs);
                bodies[refusal.storedAs] = body;
            }
        }
        return bodies;
    }
    static std::vector<std::string> keysOf(const std::map<std::string, std::string>& bodies) {
        std::vector<std::string> names;
        for (const auto& [name, body] : bodies) {
            names.push_back(name);
        }
        return names;
    }
};

INSTANTIATE_TEST_SUITE_P(, FTPServerNamesTest, testing::Values(pureFTPdPlain, pyftpdlibPlain), nameOf);

TEST_P(FTPServerNamesTest, ComeBackAsTheyWere) {
    const std::vector<std::string> names = makeNames();
    ASSERT_THAT(std::set<std::string>(names.begin(), names.end()), SizeIs(nameCount));
    makeOnDisk("from");
    makeOnDisk("to");
    const std::map<std::string, std::string> bodies =
        uploadAll(names, access.isPureFTPd() ? pureFTPdRefusals : Refusals(), false);
    const std::vector<std::string> expected = keysOf(bodies);
    EXPECT_THAT(differences(namesOnDisk("from"), expected), IsEmpty());
    std::vector<std::string> listed;
    const P<CFTPListDirResult> listing = client.listDir(request, path("from"));
    for (const P<CFTPDirEntry>& entry : listing->getEntries()) {
        if (entry->getType() == IFileInfoBase::TypeFile) {
            listed.push_back(entry->getName().toUTF8());
        }
    }
    std::sort(listed.begin(), listed.end());
    EXPECT_THAT(differences(listed, expected), IsEmpty());

    for (const auto& [name, body] : bodies) {
        SCOPED_TRACE("'" + name + "'");
        const auto info = getInfo(path("from/" + name));
        EXPECT_EQ(info->getSize(), static_cast<int64>(body.size()));
        EXPECT_EQ(info->getType(), IFileInfoBase::TypeFile);
        EXPECT_EQ(info->getName(), path("from/" + name));
        moveFile(path("from/" + name), path("to/" + name));
        EXPECT_FALSE(isThere("from/" + name));
        EXPECT_EQ(readFile(onDisk("to/" + name)), body);
        EXPECT_EQ(download(path("to/" + name)), body);
        client.deleteFile(request, path("to/" + name));
        EXPECT_FALSE(isThere("to/" + name));
    }
    EXPECT_THAT(namesOnDisk("from"), IsEmpty());
    EXPECT_THAT(namesOnDisk("to"), IsEmpty());
}

TEST_P(FTPServerNamesTest, OfFilesInNewDirectoriesAreStored) {
    Refusals refusals;
    if (access.isPureFTPd()) {
        refusals = pureFTPdRefusalsOfNamesAlone;
        refusals.insert(pureFTPdRefusals.begin(), pureFTPdRefusals.end());
    }
    const std::map<std::string, std::string> bodies = uploadAll(makeNames(), refusals, true);
    EXPECT_THAT(differences(namesOnDisk("from"), keysOf(bodies)), IsEmpty());
    for (const auto& [name, body] : bodies) {
        EXPECT_EQ(readFile(onDisk("from/" + name)), body);
    }
}

TEST_P(FTPServerNamesTest, OfDirectoriesComeBackAsTheyWere) {
    for (const std::string name : {"#", "?x", "%41", ";type=d", "a b", " lead", "a;b=c; d", "250-a", "*"}) {
        SCOPED_TRACE("'" + name + "'");
        if (access.isPureFTPd() && name == " lead") {
            // It makes "_lead", which libcurl then does not find.
            EXPECT_EQ(failureOf([&] { client.createDir(request, path(name + "/" + name), true); }), "9 550");
            client.removeDir(request, path("_lead"));
            continue;
        }
        client.createDir(request, path(name + "/" + name), true);
        ASSERT_TRUE(std::filesystem::is_directory(onDisk(name + "/" + name)));
        upload(path(name + "/" + name + "/" + name + "/" + name), "hello", true);
        EXPECT_EQ(readFile(onDisk(name + "/" + name + "/" + name + "/" + name)), "hello");
        EXPECT_THAT(list(path(name + "/" + name)), ElementsAre("d " + name));
        EXPECT_EQ(getInfo(path(name))->getType(), IFileInfoBase::TypeDirectory);
        moveFile(path(name + "/" + name + "/" + name + "/" + name), path("new " + name + "/" + name), true);
        EXPECT_EQ(readFile(onDisk("new " + name + "/" + name)), "hello");
        moveDir(path("new " + name), path(name + "/" + name + "/moved"));
        client.deleteDirWithAllContents(request, path(name));
        EXPECT_THAT(namesOnDisk(), IsEmpty());
    }
}

/// libcurl refuses them in URLs; commands can contain them.
TEST_P(FTPServerNamesTest, WithControlCharactersGoThroughCommandsAlone) {
    writeOnDisk("a", "hello");
    for (const std::string name : {"x\ty", "x\x01y", "x\x1By"}) {
        SCOPED_TRACE(testing::PrintToString(name));
        EXPECT_EQ(failureOf([&] { upload(path(name), "1"); }).substr(0, 2), "3 ");
        EXPECT_EQ(failureOf([&] { download(path(name)); }).substr(0, 2), "3 ");
        EXPECT_EQ(failureOf([&] { list(path(name)); }).substr(0, 2), "3 ");
        EXPECT_EQ(failureOf([&] { client.createDir(request, path(name), true); }).substr(0, 2), "3 ");
        moveFile(path("a"), path(name));
        // Pure-FTPd changes all of them.
        EXPECT_THAT(namesOnDisk(), ElementsAre(access.isPureFTPd() ? "x_y" : name));
        moveFile(path(access.isPureFTPd() ? "x_y" : name), path("a"));
    }
}

// ---- a login directory -----------------------------------------------------------------------------------

const FTPAccess homeServer{"Home", "VEXIL_FTP", "VEXIL_FTP_HOME_ENDPOINT", CFTPClient::ConnectPlain};

/// A server whose logins begin in /home/tester.
class FTPServerWithALoginDirectoryTest : public FTPDirectoryTest {
protected:
    FTPServerWithALoginDirectoryTest() : FTPDirectoryTest(homeServer) {}
};

TEST_F(FTPServerWithALoginDirectoryTest, AnAbsolutePathMeansTheSameFileEverywhere) {
    client.setPathEncoding(CFTPClient::PathPercentEncode);
    for (const auto type :
         {CFTPClient::CWDInvalid, CFTPClient::CWDSteps, CFTPClient::CWDDirect, CFTPClient::CWDNone}) {
        SCOPED_TRACE(CFTPClient::cwdTypeToString(type).toUTF8());
        client.setOverrideCWDType(type);
        upload(path("a"), "hello");
        EXPECT_EQ(readFile(onDisk("a")), "hello");
        EXPECT_EQ(download(path("a")), "hello");
        EXPECT_EQ(getInfo(path("a"))->getSize(), 5);
        EXPECT_THAT(list(path("")), ElementsAre("f a"));
        client.deleteFile(request, path("a"));
    }
    client.setOverrideCWDType(CFTPClient::CWDInvalid);
    client.createDir(request, path("x/y"), true);
    upload(path("x/y/z/a"), "hello", true);
    moveFile(path("x/y/z/a"), path("new/b"), true);
    moveDir(path("new"), path("x/other/moved"), true);
    EXPECT_EQ(readFile(onDisk("x/other/moved/b")), "hello");
    client.deleteDirWithAllContents(request, path("x"));
    EXPECT_THAT(namesOnDisk(), IsEmpty());
    EXPECT_THAT(list("/"), testing::Contains("d home"));
    EXPECT_TRUE(std::filesystem::is_empty(access.root() / "home/tester"));
}

TEST_F(FTPServerWithALoginDirectoryTest, VerbatimPathsOfURLsCountFromIt) {
    const std::filesystem::path home = access.root() / "home/tester";
    upload("/a", "hello");
    EXPECT_EQ(readFile(home / "a"), "hello");
    EXPECT_EQ(failureOf([&] { getInfo("/a"); }), "21 550");
    EXPECT_EQ(getInfo("/home/tester/a")->getSize(), 5);
    EXPECT_EQ(download("//home/tester/a"), "hello");
    client.deleteFile(request, "/home/tester/a");
    EXPECT_TRUE(std::filesystem::is_empty(home));
}

}  // namespace
