// The rules of IStore, checked for each kind of store on each server in the environment. A further kind needs
// one entry in findServers().
//
// with-servers.sh starts real servers. store-contract-test.py starts servers that fail in the folders of the
// tests of StoreFaultsTest, and lists objects in small pages.

#include "apps/vexil/base/Text.h"
#include "apps/vexil/files/FolderWalker.h"
#include "apps/vexil/files/PartFile.h"
#include "apps/vexil/ftp/FTPAccess.h"
#include "apps/vexil/ftp/FTPStore.h"
#include "apps/vexil/mirror/Backup.h"
#include "apps/vexil/mirror/FolderStore.h"
#include "apps/vexil/mirror/Restore.h"
#include "apps/vexil/mirror/StoreIndex.h"
#include "apps/vexil/s3/S3Access.h"
#include "apps/vexil/s3/S3Store.h"
#include "apps/vexil/session/Session.h"
#include "apps/vexil/transfer/SingleTransfer.h"
#include "tests/support/Environment.h"
#include "tests/support/WhatOf.h"
#include "zet/TimeFields.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <sstream>
#include <string>
#include <vector>

namespace vexil::app {

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAreArray;
using vexil_test::whatOf;

/// The bytes of a file; a failure prints only a part of them.
struct Content {
    Content(const std::string& all) : bytes(all) {}
    Content(const char* all) : bytes(all) {}
    bool operator==(const Content&) const = default;

    std::string bytes;
};

void PrintTo(const Content& content, std::ostream* out) {
    *out << content.bytes.size() << " bytes, " << std::hash<std::string>()(content.bytes) << ", "
         << testing::PrintToString(content.bytes.substr(0, 20));
}

/// By their relative names.
using Files = std::map<std::string, Content>;

/// An access to a server, and a folder on it.
class IOpenStore {
public:
    virtual ~IOpenStore() = default;
    virtual IStore& get() = 0;
};

template <class Access, class Store>
class COpenStore : public IOpenStore {
public:
    template <class... Place>
    explicit COpenStore(CSession& session, const Place&... place)
        : m_access(session), m_store(m_access, place...) {}
    IStore& get() override { return m_store; }

private:
    Access m_access;
    Store m_store;
};

/// A local folder, which needs no server.
class COpenFolder : public IOpenStore {
public:
    COpenFolder(CConsole& console, const fs::path& folder) : m_store(console, folder) {}
    IStore& get() override { return m_store; }

private:
    CFolderStore m_store;
};

/// The folder of all local stores of this process.
class CStoreRoot {
public:
    CStoreRoot() { fs::create_directories(m_path); }
    ~CStoreRoot() { fs::remove_all(m_path); }
    CStoreRoot(const CStoreRoot&) = delete;
    CStoreRoot& operator=(const CStoreRoot&) = delete;

    const fs::path& get() const { return m_path; }

private:
    const fs::path m_path =
        fs::path(testing::TempDir()) / ("vexil-stores-" + std::to_string(std::random_device()()));
};

struct Server {
    std::string name;
    std::function<void(COptions& options)> setUp;
    std::function<std::unique_ptr<IOpenStore>(CSession& session, const String& folder)> open;
};

void PrintTo(const Server& server, std::ostream* out) {
    *out << server.name;
}

void makeBucket(CSession& session) {
    CS3Access access(session);
    CNetRequest& request = access.getRequest();
    request.setURL(access.getClient().getBaseURL() + "bucket");
    request.setHTTPMethod("PUT");
    request.setSendDataSize(0);
    const P<CNetHeaders> headers = new CNetHeaders;
    headers->add("Date", zet::CTimeFields(zet::CTime::now()).toInternetTimestamp());
    request.setCustomHTTPHeaders(headers);
    access.getClient().signRequest(&request);
    access.getClient().performRequest(request);
}

std::unique_ptr<IOpenStore> openS3(CSession& session, const String& folder) {
    static bool hasBucket = false;
    if (!hasBucket) {
        makeBucket(session);
        hasBucket = true;
    }
    return std::make_unique<COpenStore<CS3Access, CS3Store>>(session, String("bucket"), folder);
}

/// \param bundle  the variable of the certificates; "" for no TLS
void addFTP(std::vector<Server>& servers, const char* name, const char* variable, const std::string& bundle) {
    const char* const endpoint = std::getenv(variable);
    const char* const certificates = std::getenv(bundle.c_str());
    if (!endpoint || (!bundle.empty() && !certificates)) {
        return;
    }
    const auto setUp = [endpoint, certificates](COptions& options) {
        options.ftpServer = endpoint;
        options.ftpSecurity = certificates ? FTPSecurity::Explicit : FTPSecurity::None;
        options.caBundle = certificates ? certificates : "";
    };
    // Two entries may have the same server.
    const String root = certificates ? "/tls/" : "/";
    const auto open = [root](CSession& session, const String& folder) {
        return std::make_unique<COpenStore<CFTPAccess, CFTPStore>>(session, root + folder);
    };
    servers.push_back({name, setUp, open});
}

std::unique_ptr<IOpenStore> openFolder(CSession& session, const String& folder) {
    static const CStoreRoot root;
    return std::make_unique<COpenFolder>(session.getConsole(), root.get() / toPath(folder));
}

std::vector<Server> findServers() {
    std::vector<Server> servers;
    if (!std::getenv("VEXIL_STORE_FAULTS")) {
        servers.push_back({"Folder", [](COptions&) {}, openFolder});
    }
    if (const char* const endpoint = std::getenv("VEXIL_S3_ENDPOINT")) {
        servers.push_back({"S3", [endpoint](COptions& options) { options.endpoint = endpoint; }, openS3});
    }
    addFTP(servers, "FTP", "VEXIL_FTP_ENDPOINT", "");
    addFTP(servers, "FTPWithTLS", "VEXIL_FTP_ENDPOINT", "VEXIL_FTP_CA");
    addFTP(servers, "FTPOfPureFTPd", "VEXIL_PUREFTPD_ENDPOINT", "");
    return servers;
}

std::string makeBytes(std::size_t count) {
    std::string bytes(count, '\0');
    unsigned value = 1;
    for (char& byte : bytes) {
        value = value * 1664525 + 1013904223;
        byte = static_cast<char>(value >> 24);
    }
    return bytes;
}

fs::path pathOf(const char* name) {
    return toPath(std::string(name));
}

const Content big = makeBytes((3 << 20) + 1);

class StoreTest : public testing::TestWithParam<Server> {
protected:
    void SetUp() override {
        if (!std::getenv("VEXIL_S3_ACCESS_KEY")) {
            vexil_test::setEnvironment("VEXIL_S3_ACCESS_KEY", "access");
            vexil_test::setEnvironment("VEXIL_S3_SECRET_KEY", "secret");
        }
        vexil_test::setEnvironment("VEXIL_FTP_USER", "tester");
        vexil_test::setEnvironment("VEXIL_FTP_PASSWORD", "secret");
        vexil_test::setEnvironment("VEXIL_TEST_PAUSE_FACTOR", "0.01");
        fs::create_directories(m_folder);
    }
    void TearDown() override {
        close();
        fs::remove_all(m_folder);
    }

    /// Opens a folder of the server, of the name of the test by default.
    IStore& open(const std::string& folder = {}) {
        close();
        COptions options;
        options.retries = m_retries;
        GetParam().setUp(options);
        m_session = std::make_unique<CSession>(options, m_console);
        m_store = GetParam().open(*m_session, String::fromUTF8(folder.empty() ? getTestName() : folder));
        return m_store->get();
    }
    IStore& openForUploads() {
        IStore& store = open();
        store.beginUploads();
        return store;
    }
    void close() {
        m_store.reset();
        m_session.reset();
    }

    /// Without the name of the server.
    static std::string getTestName() {
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        return name.substr(0, name.find('/'));
    }

    fs::path getLocalPath(const std::string& name) const { return m_folder / toPath(name); }
    fs::path write(const std::string& name, const std::string& content) const {
        const fs::path path = getLocalPath(name);
        fs::create_directories(path.parent_path());
        std::ofstream(path, std::ios::binary) << content;
        return path;
    }
    static Content read(const fs::path& path) {
        std::ifstream file(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(file), {});
    }

    String put(IStore& store, const std::string& name, const Content& content,
               const std::optional<CFileTime>& time = std::nullopt) {
        return putFile(store, new CFileInStream(write("source", content.bytes)), name, time);
    }
    String putFile(IStore& store, const P<CFileInStream>& file, const std::string& name,
                   const std::optional<CFileTime>& time = std::nullopt) {
        if (store.isStoredAlone(file->getSize())) {
            CProgress progress(m_console);
            CFileProgress fileProgress(progress, "");
            return store.storeAlone(m_folder / "source", toPath(name), time, fileProgress);
        }
        const std::unique_ptr<IUpload> upload = store.makeUpload(file, toPath(name), time);
        runSingleTransfer(*m_session, store.getPolicy(), *upload);
        return upload->getMark();
    }
    void fetch(IStore& store, const IStoredFile& file, const P<CPartStream>& out) {
        const std::unique_ptr<IDownload> download = file.makeDownload(out);
        runSingleTransfer(*m_session, store.getPolicy(), *download);
        out->close();
    }
    Content fetch(IStore& store, const IStoredFile& file) {
        const fs::path path = m_folder / "target";
        if (file.isFetchedAlone()) {
            CProgress progress(m_console);
            CFileProgress fileProgress(progress, "");
            file.fetchAlone(path, fileProgress);
        } else {
            fetch(store, file, new CPartStream(path, path));
        }
        return read(path);
    }

    static std::unique_ptr<IStoredFile> find(IStore& store, const std::string& name) {
        const std::unique_ptr<IStoreListing> listing = store.list();
        while (std::unique_ptr<IStoredFile> file = listing->findNext()) {
            if (file->getRelativeName().toUTF8() == name) {
                return file;
            }
        }
        throw CError(String("the store does not list ") + String::fromUTF8(name));
    }
    static std::vector<std::string> getNames(IStore& store) {
        std::vector<std::string> names;
        const std::unique_ptr<IStoreListing> listing = store.list();
        while (const std::unique_ptr<IStoredFile> file = listing->findNext()) {
            EXPECT_EQ(toText(file->getRelativePath()), file->getRelativeName());
            names.push_back(file->getRelativeName().toUTF8());
        }
        EXPECT_EQ(listing->findNext(), nullptr) << "the listing has ended";
        return names;
    }
    /// Of the files of this name, which is one or none.
    static std::vector<std::size_t> getSizes(IStore& store, const std::string& name) {
        std::vector<std::size_t> sizes;
        const std::unique_ptr<IStoreListing> listing = store.list();
        while (const std::unique_ptr<IStoredFile> file = listing->findNext()) {
            if (file->getRelativeName().toUTF8() == name) {
                sizes.push_back(static_cast<std::size_t>(file->getSize()));
            }
        }
        return sizes;
    }
    /// Fetches all files while they are listed.
    Files getFiles(IStore& store) {
        Files files;
        const std::unique_ptr<IStoreListing> listing = store.list();
        while (const std::unique_ptr<IStoredFile> file = listing->findNext()) {
            const Content content = fetch(store, *file);
            EXPECT_EQ(file->getSize(), static_cast<int64>(content.bytes.size())) << file->getName().toUTF8();
            EXPECT_TRUE(files.emplace(file->getRelativeName().toUTF8(), content).second)
                << file->getName().toUTF8() << " is listed twice";
        }
        return files;
    }

    ExitCode backUp(const std::string& folder) {
        IStore& store = open();
        return CBackup(*m_session, store).run(CFolderWalker(m_folder / folder), 4);
    }

    int m_retries = 0;
    // Two processes may run the same test at the same time.
    const fs::path m_folder =
        fs::path(testing::TempDir()) / ("vexil-store-test-" + std::to_string(std::random_device()()));
    std::ostringstream m_output;
    CConsole m_console{m_output, m_output, false};
    std::unique_ptr<CSession> m_session;
    std::unique_ptr<IOpenStore> m_store;
};

class StoreContractTest : public StoreTest {};

TEST_P(StoreContractTest, ANewStoreIsEmpty) {
    EXPECT_THAT(getNames(openForUploads()), IsEmpty());
}

TEST_P(StoreContractTest, AFolderThatDoesNotExistIsEmptyOrMissing) {
    IStore& store = open("no/such/folder");
    try {
        EXPECT_THAT(getNames(store), IsEmpty());
    } catch (const CError& error) {
        EXPECT_TRUE(store.getPolicy().diagnose(error).isMissing()) << error.what();
    }
}

TEST_P(StoreContractTest, FilesOfAllSizesComeBack) {
    const Files files = {
        {"empty", ""}, {"byte", "x"}, {"block", makeBytes((64 << 10) + 1)}, {"mebibytes", big}};
    IStore& store = openForUploads();
    for (const auto& [name, content] : files) {
        put(store, name, content);
    }
    EXPECT_EQ(getFiles(store), files);
    EXPECT_EQ(getFiles(open()), files) << "another run finds them";
}

TEST_P(StoreContractTest, NamesComeBack) {
    Files files;
    for (const char* const name : {"two words",
                                   "100%",
                                   "%41",
                                   "%2F",
                                   "a+b",
                                   "gr\xC3\xBC\xC3\x9F",
                                   "#1",
                                   "what?",
                                   "a&b;c=d",
                                   "it's",
                                   "[x]",
                                   "~",
                                   "...",
                                   "UPPER",
                                   "upper",
                                   "\xE2\x82\xAC/#/%/?/+",
                                   "deep/er/and/deep/er/and/deeper/still",
                                   "a",
                                   "a.txt",
                                   "a-b/c",
                                   "a-b/cd",
                                   "ab"}) {
        files.emplace(name, std::string("content of ") + name);
    }
    IStore& store = openForUploads();
    for (const auto& [name, content] : files) {
        put(store, name, content);
    }
    EXPECT_EQ(getFiles(store), files);
}

TEST_P(StoreContractTest, AListingHasEachFileOnce) {
    std::vector<std::string> names;
    IStore& store = openForUploads();
    for (int number = 10; number < 33; ++number) {
        names.push_back(number % 5 == 0 ? "folder/" + std::to_string(number) : std::to_string(number));
        put(store, names.back(), "x");
    }
    const std::vector<std::string> listed = getNames(store);
    EXPECT_THAT(listed, UnorderedElementsAreArray(names));
    EXPECT_EQ(getNames(store), listed) << "the order stays";
}

TEST_P(StoreContractTest, AListingShowsOnlyTheFolderOfTheStore) {
    const std::string folder = getTestName() + "/a";
    IStore& beside = openForUploads();
    put(beside, "ab", "beside");
    put(beside, "b", "beside");
    IStore& store = open(folder);
    store.beginUploads();
    put(store, "b", "inside");
    EXPECT_EQ(getFiles(store), (Files{{"b", "inside"}}));
    store.remove("b");
    EXPECT_EQ(getFiles(open()), (Files{{"ab", "beside"}, {"b", "beside"}}));
}

TEST_P(StoreContractTest, AFileIsReplaced) {
    IStore& store = openForUploads();
    for (const Content& content : {Content("first"), big, Content("third"), Content("")}) {
        put(store, "file", content);
        EXPECT_EQ(getFiles(store), (Files{{"file", content}}));
    }
}

TEST_P(StoreContractTest, AnUploadKnowsTheMarkThatTheListingHas) {
    IStore& store = openForUploads();
    for (const Content& content : {Content("first"), big, Content("")}) {
        const String mark = put(store, "file", content);
        EXPECT_NE(mark, String());
        EXPECT_EQ(find(store, "file")->getMark(), mark);
    }
}

TEST_P(StoreContractTest, AFileIsReplacedOnlyIfItIsTheListedOne) {
    IStore& store = openForUploads();
    const fs::path first = write("first", "first");
    const fs::path second = write("second", "2");
    const fs::path name = pathOf("folder/file");
    ASSERT_TRUE(store.replace(*m_session, first, name, std::nullopt));
    EXPECT_FALSE(store.replace(*m_session, second, name, std::nullopt)) << "it exists";
    EXPECT_FALSE(store.replace(*m_session, second, name, String("other"))) << "it is another one";
    EXPECT_EQ(getFiles(store), (Files{{"folder/file", "first"}}));
    EXPECT_TRUE(store.replace(*m_session, second, name, find(store, "folder/file")->getMark()));
    EXPECT_EQ(getFiles(store), (Files{{"folder/file", "2"}}));
    const String mark = find(store, "folder/file")->getMark();
    store.remove("folder/file");
    EXPECT_FALSE(store.replace(*m_session, first, name, mark)) << "it was removed";
    EXPECT_THAT(getFiles(store), IsEmpty());
}

TEST_P(StoreContractTest, AStoredFileIsRecognisedByItsContentOrItsTime) {
    IStore& store = openForUploads();
    CFileFacts facts{.size = 7, .time = {1'763'899'200, 123'456'700}, .mode = {}, .readAt = 0};
    const String mark = put(store, "file", "content", facts.time);
    const fs::path same = write("same", "content");
    const fs::path other = write("other", "CONTENT");
    EXPECT_TRUE(store.hasContent(mark, pathOf("file"), same, facts));
    const bool comparesContents = store.hasContent(mark, pathOf("file"), same, std::nullopt);
    facts.time.seconds += 1;
    EXPECT_EQ(store.hasContent(mark, pathOf("file"), same, facts), comparesContents) << "another time";
    EXPECT_FALSE(store.hasContent(mark, pathOf("file"), other, facts));
}

TEST_P(StoreContractTest, TwoBackupsAtOnceLeaveATrueIndex) {
    IStore& store = openForUploads();
    const CFileFacts facts{.size = 1, .time = {1'500'000'000, 0}, .mode = 0644, .readAt = 1'600'000'000};
    CFileFacts otherFacts = facts;
    otherFacts.time.seconds += 60;
    const auto storeAndNote = [&](CStoreIndex& index, const char* name, const char* content,
                                  const CFileFacts& what) {
        index.noteStored(pathOf(name), what, put(store, name, content, what.time));
    };
    CStoreIndex first(*m_session, store);
    CStoreIndex second(*m_session, store);
    first.load();
    second.load();
    storeAndNote(first, "mine", "a", facts);
    storeAndNote(first, "both", "a", facts);
    storeAndNote(second, "both", "b", otherFacts);
    storeAndNote(second, "theirs", "b", otherFacts);
    storeAndNote(first, "both, the other way", "b", otherFacts);
    second.noteStored(pathOf("both, the other way"), facts, "overwritten");
    first.note(pathOf("link"), EntryKind::Link, facts, "mine");
    second.note(pathOf("folder"), EntryKind::Folder, facts);
    first.save();
    second.save();

    CStoreIndex third(*m_session, store);
    third.load();
    const fs::path a = write("a", "a");
    const fs::path b = write("b", "b");
    EXPECT_TRUE(third.isUnchanged(pathOf("mine"), a, facts));
    EXPECT_TRUE(third.isUnchanged(pathOf("theirs"), b, otherFacts));
    for (const char* const name : {"both", "both, the other way"}) {
        EXPECT_FALSE(third.isUnchanged(pathOf(name), a, facts)) << name;
        EXPECT_TRUE(third.isUnchanged(pathOf(name), b, otherFacts)) << name;
    }
    std::map<std::string, int64> times;
    for (const CIndexEntry& entry : CStoreIndex::fetch(*m_session, store, *find(store, CStoreIndex::name))) {
        times[entry.path] = entry.time->seconds - facts.time.seconds;
    }
    EXPECT_EQ(times, (std::map<std::string, int64>{{"mine", 0},
                                                   {"both", 60},
                                                   {"theirs", 60},
                                                   {"both, the other way", 60},
                                                   {"link", 0},
                                                   {"folder", 0}}));
}

TEST_P(StoreContractTest, ATimeThatMayStandForTwoContentsProvesNothing) {
    IStore& store = openForUploads();
    CFileFacts facts{.size = 1, .time = {1'500'000'000, 0}, .mode = 0644, .readAt = 1'500'000'001};
    const String mark = put(store, "file", "a", facts.time);
    const fs::path other = write("other", "b");
    CStoreIndex first(*m_session, store);
    first.load();
    EXPECT_FALSE(first.isUnchanged(pathOf("file"), other, facts)) << "it was changed just now";
    first.noteStored(pathOf("file"), facts, mark);
    first.save();
    CStoreIndex second(*m_session, store);
    second.load();
    facts.readAt += 1000;
    EXPECT_FALSE(second.isUnchanged(pathOf("file"), other, facts))
        << "it was changed just before it was stored";
}

TEST_P(StoreContractTest, AnIndexThatWasDeletedMeanwhileIsWrittenAgain) {
    IStore& store = openForUploads();
    const CFileFacts facts{.size = 1, .time = {1'500'000'000, 0}, .mode = 0644, .readAt = 1'600'000'000};
    for (const char* const path : {"first", "second"}) {
        CStoreIndex index(*m_session, store);
        index.load();
        index.note(pathOf(path), EntryKind::Folder, facts);
        if (std::string(path) == "second") {
            store.remove(CStoreIndex::name);
        }
        index.save();
    }
    const auto entries = CStoreIndex::fetch(*m_session, store, *find(store, CStoreIndex::name));
    ASSERT_EQ(entries.size(), 1U);
    EXPECT_EQ(entries.front().path, "second");
}

TEST_P(StoreContractTest, ARemovedFileIsGone) {
    IStore& store = openForUploads();
    for (const char* const name : {"a", "a.txt", "a b%#?", "c/d", "c/de"}) {
        put(store, name, name);
    }
    for (const char* const name : {"a", "a b%#?", "c/d"}) {
        store.remove(String::fromUTF8(name));
    }
    EXPECT_EQ(getFiles(store), (Files{{"a.txt", "a.txt"}, {"c/de", "c/de"}}));
    store.remove("a");
    put(store, "a", "new");
    EXPECT_THAT(getFiles(store), Contains(Pair("a", "new")));
}

TEST_P(StoreContractTest, RemovalOfAMissingFileDoesNothing) {
    IStore& store = openForUploads();
    put(store, "file", "content");
    store.remove("no file");
    store.remove("no/folder/file");
    EXPECT_EQ(getFiles(store), (Files{{"file", "content"}}));
    open("no/such/folder").remove("file");
}

TEST_P(StoreContractTest, RemovalNeedsANameWithinTheStore) {
    IStore& store = openForUploads();
    put(store, "file", "content");
    EXPECT_THROW(store.remove(""), CInvalidArgError);
    EXPECT_EQ(getFiles(store), (Files{{"file", "content"}}));
}

TEST_P(StoreContractTest, RemovalLeavesFolders) {
    IStore& store = openForUploads();
    put(store, "folder/file", "content");
    try {
        store.remove("folder");
    } catch (const CInvalidArgError&) {
        throw;
    } catch (const CError&) {
        SUCCEED() << "a store may refuse it";
    }
    EXPECT_EQ(getFiles(store), (Files{{"folder/file", "content"}}));
}

TEST_P(StoreContractTest, AFileThatWasRemovedInBetweenIsMissing) {
    IStore& store = openForUploads();
    put(store, "gone", "content");
    put(store, "here", "content");
    const std::unique_ptr<IStoredFile> gone = find(store, "gone");
    store.remove("gone");
    try {
        fetch(store, *gone);
        FAIL() << "it was fetched";
    } catch (const CError& error) {
        EXPECT_TRUE(store.getPolicy().diagnose(error).isMissing()) << error.what();
    }
    EXPECT_EQ(read(m_folder / "target"), Content("")) << "nothing of the refusal is in the file";
    EXPECT_EQ(getFiles(store), (Files{{"here", "content"}}));
}

TEST_P(StoreContractTest, ASourceThatBecomesShorterLeavesTheOldFile) {
    IStore& store = openForUploads();
    if (store.isStoredAlone(0)) {
        GTEST_SKIP() << "this store opens the file itself";
    }
    put(store, "old", "good");
    for (const char* const name : {"old", "new"}) {
        const P<CFileInStream> file = new CFileInStream(write("source", big.bytes));
        fs::resize_file(m_folder / "source", 2 << 20);
        EXPECT_THROW(putFile(store, file, name), CError);
    }
    put(store, "next", "good");
    // Its end removes what failed uploads have left.
    close();
    EXPECT_EQ(getFiles(open()), (Files{{"next", "good"}, {"old", "good"}}));
}

TEST_P(StoreContractTest, ASourceThatBecomesLongerIsStoredAsItWas) {
    IStore& store = openForUploads();
    if (store.isStoredAlone(0)) {
        GTEST_SKIP() << "this store opens the file itself";
    }
    const P<CFileInStream> file = new CFileInStream(write("source", "beginning"));
    std::ofstream(m_folder / "source", std::ios::binary | std::ios::app) << " and end";
    putFile(store, file, "file");
    EXPECT_EQ(getFiles(store), (Files{{"file", "beginning"}}));
}

TEST_P(StoreContractTest, ATargetThatCannotBeWrittenIsAnError) {
    IStore& store = openForUploads();
    put(store, "file", big);
    const std::unique_ptr<IStoredFile> file = find(store, "file");
    if (file->isFetchedAlone()) {
        GTEST_SKIP() << "this store opens the target itself";
    }
    EXPECT_THAT(whatOf([&] { fetch(store, *file, new CPartStream("/dev/full", "target")); }),
                HasSubstr("target"));
    EXPECT_EQ(fetch(store, *file), big);
}

TEST_P(StoreContractTest, ABackupIsRestored) {
    const Files files = {{"one", "1"}, {"folder/two", big}, {"folder/with space/#3%", ""}};
    for (const auto& [name, content] : files) {
        write("from/" + name, content.bytes);
    }
    EXPECT_EQ(backUp("from"), ExitCode::Done) << m_output.str();
    EXPECT_EQ(CRestore(*m_session, open(), m_folder / "to").run(4), ExitCode::Done) << m_output.str();
    for (const auto& [name, content] : files) {
        EXPECT_EQ(read(getLocalPath("to/" + name)), content) << name;
    }
}

TEST_P(StoreContractTest, AFolderReplacesAFile) {
    write("before/x", "file");
    ASSERT_EQ(backUp("before"), ExitCode::Done) << m_output.str();
    write("after/x/y", "below");
    EXPECT_EQ(backUp("after"), ExitCode::Done) << m_output.str();
    EXPECT_EQ(getFiles(open()), (Files{{"x/y", "below"}}));
}

TEST_P(StoreContractTest, AFileDoesNotReplaceAFolderInSilence) {
    write("before/x/y", "below");
    ASSERT_EQ(backUp("before"), ExitCode::Done) << m_output.str();
    write("after/x", "file");
    EXPECT_EQ(backUp("after"), ExitCode::Failed) << m_output.str();
    IStore& store = open();
    EXPECT_EQ(fetch(store, *find(store, "x/y")), Content("below"));
}

/// Servers that fail once, or twice, in the folder of a test.
class StoreFaultsTest : public StoreTest {
protected:
    void SetUp() override {
        if (!std::getenv("VEXIL_STORE_FAULTS")) {
            GTEST_SKIP() << "these servers do not fail";
        }
        StoreTest::SetUp();
    }
};

TEST_P(StoreFaultsTest, AnInterruptedUploadLeavesTheOldFile) {
    IStore& store = openForUploads();
    put(store, "old", "good");
    EXPECT_THROW(put(store, "old", big), CError);
    EXPECT_THROW(put(store, "new", big), CError);
    put(store, "next", "good");
    close();
    EXPECT_EQ(getFiles(open()), (Files{{"next", "good"}, {"old", "good"}}));
}

TEST_P(StoreFaultsTest, AnInterruptedUploadSucceedsLater) {
    IStore& store = openForUploads();
    EXPECT_THROW(put(store, "file", big), CError);
    put(store, "file", big);
    close();
    EXPECT_EQ(getFiles(open()), (Files{{"file", big}}));
}

TEST_P(StoreFaultsTest, AnInterruptedUploadIsTriedAgain) {
    m_retries = 3;
    IStore& store = openForUploads();
    put(store, "file", big);
    EXPECT_EQ(store.getPolicy().getRetryCount(), 2);
    close();
    EXPECT_EQ(getFiles(open()), (Files{{"file", big}}));
}

TEST_P(StoreFaultsTest, AnUploadOfWhichTheServerStoresSomethingElseFails) {
    IStore& store = openForUploads();
    EXPECT_THROW(put(store, "file", big), CError);
    EXPECT_THAT(getSizes(store, "file"), Each(big.bytes.size())) << "a part is under the name of the file";
    put(store, "file", big);
    close();
    EXPECT_EQ(getFiles(open()), (Files{{"file", big}}));
}

TEST_P(StoreFaultsTest, AnInterruptedDownloadSucceedsLater) {
    IStore& store = openForUploads();
    put(store, "file", big);
    const std::unique_ptr<IStoredFile> file = find(store, "file");
    EXPECT_THROW((void)fetch(store, *file), CError);
    EXPECT_EQ(fetch(store, *file), big);
}

TEST_P(StoreFaultsTest, AnInterruptedDownloadContinues) {
    m_retries = 3;
    IStore& store = openForUploads();
    put(store, "file", big);
    EXPECT_EQ(fetch(store, *find(store, "file")), big);
    EXPECT_EQ(store.getPolicy().getRetryCount(), 2);
}

TEST_P(StoreFaultsTest, ALeftBeginningIsContinuedIfTheContentIsKnown) {
    IStore& store = openForUploads();
    put(store, "file", big);
    const std::unique_ptr<IStoredFile> file = find(store, "file");
    if (file->getContent().isEmpty()) {
        GTEST_SKIP() << "this store has no checksums";
    }
    CPartFile target(m_folder / "target");
    const P<CPartStream> out = target.getStream();
    EXPECT_THROW(fetch(store, *file, out), CError);
    ASSERT_GT(out->getSize(), 0);
    out->seek(0);
    const std::unique_ptr<IDownload> download = file->makeDownload(out);
    runSingleTransfer(*m_session, store.getPolicy(), *download);
    EXPECT_EQ(download->getContinuationCount(), 1);
    target.commit();
    EXPECT_EQ(read(m_folder / "target"), big);
}

// A program that removes what is missing on the other side needs this.
TEST_P(StoreFaultsTest, ABrokenListingDoesNotLookComplete) {
    std::vector<std::string> names = {"folder/file"};
    for (int number = 0; number < 10; ++number) {
        names.push_back("file " + std::to_string(number));
    }
    IStore& store = openForUploads();
    for (const std::string& name : names) {
        put(store, name, "x");
    }
    int count = 0;
    bool isBroken = false;
    const std::unique_ptr<IStoreListing> listing = store.list();
    try {
        while (const std::unique_ptr<IStoredFile> file = listing->findNext()) {
            ++count;
            (void)file->getRelativePath();
        }
    } catch (const CError&) {
        isBroken = true;
    }
    EXPECT_TRUE(isBroken) << "neither the listing nor one of its files tells it";
    EXPECT_GT(count, 5) << "the files that were listed before come first";
    EXPECT_THAT(getNames(store), UnorderedElementsAreArray(names)) << "another listing is complete";
}

std::string nameOf(const testing::TestParamInfo<Server>& info) {
    return info.param.name;
}

INSTANTIATE_TEST_SUITE_P(Each, StoreContractTest, testing::ValuesIn(findServers()), nameOf);
INSTANTIATE_TEST_SUITE_P(Each, StoreFaultsTest, testing::ValuesIn(findServers()), nameOf);

}  // namespace

}  // namespace vexil::app
