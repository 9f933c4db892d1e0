// Entries, listings and single replies of FTP servers (RFC 3659).
#include "vexil/ftp/FTPDirEntry.h"

#include "tests/support/WhatOf.h"
#include "vexil/ftp/FTPGetInfoResult.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace vexil;
using testing::ElementsAre;
using vexil_test::whatOf;
using zet::CTime;
using zet::IFileInfoBase;

constexpr int64 lateInJanuary2020 = 1580515199;  // 2020-01-31 23:59:59

std::string errorOf(const String& factLine) {
    return whatOf([&] { CFTPDirEntry entry(factLine); });
}

std::string timeErrorOf(const String& value) {
    return whatOf([&] { (void)CFTPDirEntry::parseTimeValue(value); });
}

TBuffer<unsigned char> bufferOf(std::string_view text) {
    TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

std::vector<std::string> namesIn(std::string_view listing) {
    std::vector<std::string> names;
    const CFTPListDirResult result(bufferOf(listing));
    for (const P<CFTPDirEntry>& entry : result.getEntries()) {
        names.push_back(entry->getName().toUTF8());
    }
    return names;
}

CNetStringList listOf(std::initializer_list<const char*> lines) {
    CNetStringList list;
    for (const char* line : lines) {
        list.add(line);
    }
    return list;
}

// ---- entries ---------------------------------------------------------------------------------------------

TEST(FTPDirEntryTest, HasTheUniqueIDWithItsCase) {
    EXPECT_EQ(CFTPDirEntry("Type=dir;Unique=FE00uA9=x; d").getUniqueID(), "FE00uA9=x");
    EXPECT_EQ(CFTPDirEntry("unique=a;unique=b; d").getUniqueID(), "b");
    EXPECT_EQ(CFTPDirEntry("type=dir; d").getUniqueID(), "");
    CFTPDirEntry entry;
    EXPECT_EQ(entry.getUniqueID(), "");
    entry.setUniqueID("X");
    EXPECT_EQ(CFTPDirEntry(entry).getUniqueID(), "X");
}

TEST(FTPDirEntryTest, IsNothingAtFirst) {
    const CFTPDirEntry entry;
    EXPECT_EQ(entry.getName(), "");
    EXPECT_FALSE(entry.getModifiedTime().isSet());
    EXPECT_EQ(entry.getType(), IFileInfoBase::TypeUnknown);
    EXPECT_EQ(entry.getType(), 0);
    EXPECT_EQ(entry.getSize(), 0);
}

TEST(FTPDirEntryTest, TakesWhatItIsGiven) {
    CFTPDirEntry entry;
    entry.setName(" n ");
    entry.setModifiedTime(CTime::fromCTime(1));
    entry.setType(IFileInfoBase::TypeDirectory);
    entry.setSize(5000000000);
    const CFTPDirEntry copy(entry);
    EXPECT_EQ(copy.getName(), " n ");
    EXPECT_EQ(copy.getModifiedTime(), CTime::fromCTime(1));
    EXPECT_EQ(copy.getType(), 2);
    EXPECT_EQ(copy.getSize(), 5000000000);
}

TEST(FTPDirEntryTest, ReadsAFile) {
    const CFTPDirEntry entry("type=file;size=1024;modify=20200131235959; report.pdf");
    EXPECT_EQ(entry.getName(), "report.pdf");
    EXPECT_EQ(entry.getType(), IFileInfoBase::TypeFile);
    EXPECT_EQ(entry.getType(), 1);
    EXPECT_EQ(entry.getSize(), 1024);
    EXPECT_EQ(entry.getModifiedTime(), CTime::fromCTime(lateInJanuary2020));
}

TEST(FTPDirEntryTest, ReadsFactsInAnyCaseAndKeepsThatOfTheName) {
    const CFTPDirEntry entry("Type=DIR;Modify=20200131235959.25; My Docs");
    EXPECT_EQ(entry.getName(), "My Docs");
    EXPECT_EQ(entry.getType(), IFileInfoBase::TypeDirectory);
    EXPECT_EQ(entry.getModifiedTime(), CTime::fromMicroseconds(lateInJanuary2020 * 1000000 + 250000));
}

TEST(FTPDirEntryTest, OtherTypesAreUnknown) {
    for (const char* type : {"cdir", "pdir", "os.unix=slink:", "OS.unix=symlink", "", "files"}) {
        const CFTPDirEntry entry(String("type=") + type + "; x");
        EXPECT_EQ(entry.getType(), IFileInfoBase::TypeUnknown) << type;
    }
}

TEST(FTPDirEntryTest, AnotherTypeBehindAKnownOneChangesNothing) {
    EXPECT_EQ(CFTPDirEntry("type=dir;type=cdir; x").getType(), IFileInfoBase::TypeDirectory);
}

TEST(FTPDirEntryTest, OfFactsThatRepeatTheLastCounts) {
    const CFTPDirEntry entry(
        "type=file;size=1;size=2;type=dir;modify=20200131235959;modify=19700101000001; x");
    EXPECT_EQ(entry.getType(), IFileInfoBase::TypeDirectory);
    EXPECT_EQ(entry.getSize(), 2);
    EXPECT_EQ(entry.getModifiedTime(), CTime::fromCTime(1));
}

TEST(FTPDirEntryTest, OtherFactsAreIgnored) {
    const CFTPDirEntry entry("perm=el;unique=a=b;unix.mode=0755;sizd=4096;type=file; x");
    EXPECT_EQ(entry.getType(), IFileInfoBase::TypeFile);
    EXPECT_EQ(entry.getSize(), 0);
}

TEST(FTPDirEntryTest, ASizeThatIsNoNumberIsZero) {
    for (const char* size : {"", "x", "1x", "1.5", "99999999999999999999"}) {
        EXPECT_EQ(CFTPDirEntry(String("size=") + size + "; x").getSize(), 0) << size;
    }
    EXPECT_EQ(CFTPDirEntry("size=9223372036854775807; x").getSize(), 9223372036854775807);
}

TEST(FTPDirEntryTest, TheNameIsAllBehindTheFirstBlank) {
    EXPECT_EQ(CFTPDirEntry("type=file;  a b ").getName(), " a b ");
    EXPECT_EQ(CFTPDirEntry("type=file; a;b=c").getName(), "a;b=c");
    EXPECT_EQ(CFTPDirEntry("type=file; ").getName(), "");
    EXPECT_EQ(CFTPDirEntry("type=file; Grüße").getName(), String("Grüße"));
}

TEST(FTPDirEntryTest, TheLastFactNeedsNoEnd) {
    EXPECT_EQ(CFTPDirEntry("type=file a").getType(), IFileInfoBase::TypeFile);
    EXPECT_EQ(CFTPDirEntry("size=3;type=file a").getName(), "a");
}

TEST(FTPDirEntryTest, ALineMayHaveNoFactsAtAll) {
    EXPECT_EQ(CFTPDirEntry(" a").getName(), "a");
}

TEST(FTPDirEntryTest, ALineWithoutABlankIsNoEntry) {
    EXPECT_EQ(errorOf("nospace"), "Invalid FTP dir entry: 'nospace'");
    EXPECT_EQ(errorOf("type=file;"), "Invalid FTP dir entry: 'type=file;'");
    EXPECT_EQ(errorOf(""), "Invalid FTP dir entry: ''");
}

TEST(FTPDirEntryTest, AFactIsAKeyAndAValue) {
    EXPECT_EQ(errorOf("type=file;;size=1 a"), "Invalid FTP dir entry: 'type=file;;size=1 a'");
    EXPECT_EQ(errorOf("type=file;; a"), "Invalid FTP dir entry: 'type=file;; a'");
    EXPECT_EQ(errorOf("; a"), "Invalid FTP dir entry: '; a'");
    EXPECT_EQ(errorOf("Type a"), "Invalid FTP dir entry: 'Type a'");
    EXPECT_EQ(errorOf("TYPE=file;X Y"), "Invalid FTP dir entry: 'TYPE=file;X Y'");
}

TEST(FTPDirEntryTest, ErrorsHaveNoDomainAndNoCode) {
    try {
        CFTPDirEntry entry("nospace");
        FAIL();
    } catch (const CError& error) {
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError().get(), nullptr);
    }
}

TEST(FTPDirEntryTest, ABadTimeIsToldByItsValue) {
    EXPECT_EQ(errorOf("Modify=20200131235959Z; x"), "Invalid FTP time value: '20200131235959z'");
}

// ---- times -----------------------------------------------------------------------------------------------

TEST(FTPTimeValueTest, HasFourteenDigits) {
    EXPECT_EQ(CFTPDirEntry::parseTimeValue("20200131235959"), CTime::fromCTime(lateInJanuary2020));
    EXPECT_EQ(timeErrorOf("2020013123595"), "Invalid FTP time value: '2020013123595'");
    EXPECT_EQ(timeErrorOf(""), "Invalid FTP time value: ''");
    EXPECT_EQ(timeErrorOf("20200131235959Z"), "Invalid FTP time value: '20200131235959Z'");
    EXPECT_EQ(timeErrorOf("202001312359590"), "Invalid FTP time value: '202001312359590'");
}

TEST(FTPTimeValueTest, MayHaveAFractionOfAnyLength) {
    const auto microsecondsOf = [](const char* value) {
        return CFTPDirEntry::parseTimeValue(value).getMicroseconds() - lateInJanuary2020 * 1000000;
    };
    EXPECT_EQ(microsecondsOf("20200131235959."), 0);
    EXPECT_EQ(microsecondsOf("20200131235959.5"), 500000);
    EXPECT_EQ(microsecondsOf("20200131235959.250"), 250000);
    EXPECT_EQ(microsecondsOf("20200131235959.000001"), 1);
    EXPECT_EQ(microsecondsOf("20200131235959.3333333333333333333333333333"), 333333);
    EXPECT_EQ(microsecondsOf("20200131235959.x"), 0);
    EXPECT_EQ(microsecondsOf("20200131235959.5.5"), 0);
}

TEST(FTPTimeValueTest, ASecondMayBeSixty) {
    EXPECT_EQ(CFTPDirEntry::parseTimeValue("20161231235960"), CTime::fromCTime(1483228800));
}

TEST(FTPTimeValueTest, ADateOutsideTheCalendarIsNotSet) {
    for (const char* value : {"20211301000000", "20210229000000", "20210132000000", "20210101240000",
                              "20210101006000", "20210101000061", "00000000000000", "-1-1-1-1-1-1-1"}) {
        EXPECT_FALSE(CFTPDirEntry::parseTimeValue(value).isSet()) << value;
    }
}

TEST(FTPTimeValueTest, DigitsThatAreNoneCountAsZero) {
    EXPECT_EQ(CFTPDirEntry::parseTimeValue("20200131xx5959"),
              CTime::fromCTime(lateInJanuary2020 - 23 * 3600));
}

// ---- listings --------------------------------------------------------------------------------------------

TEST(FTPListDirResultTest, AnEmptyListingHasNoEntries) {
    EXPECT_TRUE(namesIn("").empty());
    EXPECT_TRUE(namesIn("\r\n\n\r").empty());
}

TEST(FTPListDirResultTest, LinesEndInAnyWay) {
    EXPECT_THAT(namesIn("type=file; a\r\n\r\ntype=file; b\n"), ElementsAre("a", "b"));
    EXPECT_THAT(namesIn("type=file; a\rtype=file; b\n\n\rtype=dir; c"), ElementsAre("a", "b", "c"));
}

TEST(FTPListDirResultTest, KeepsTheOrderAndTheDirectoryItself) {
    const CFTPListDirResult listing(
        bufferOf("type=pdir; ..\r\ntype=cdir; .\r\ntype=file;size=1; z\r\ntype=dir; a\r\n"));
    const auto& entries = listing.getEntries();
    ASSERT_EQ(entries.size(), 4u);
    EXPECT_EQ(entries[0]->getName(), "..");
    EXPECT_EQ(entries[0]->getType(), IFileInfoBase::TypeUnknown);
    EXPECT_EQ(entries[1]->getName(), ".");
    EXPECT_EQ(entries[1]->getType(), IFileInfoBase::TypeUnknown);
    EXPECT_EQ(entries[2]->getName(), "z");
    EXPECT_EQ(entries[3]->getName(), "a");
}

TEST(FTPListDirResultTest, DecodesUTF8Strictly) {
    EXPECT_THAT(namesIn("type=file; \xC3\xA4\r\n"), ElementsAre("\xC3\xA4"));
    EXPECT_EQ(whatOf([] { namesIn("type=file; \xE4\r\n"); }), "Invalid UTF-8 data.");
}

TEST(FTPListDirResultTest, TheFirstBadLineFailsTheWhole) {
    EXPECT_EQ(whatOf([] { namesIn("type=file; a\r\nbad\r\nworse\r\n"); }), "Invalid FTP dir entry: 'bad'");
}

TEST(FTPListDirResultTest, ReadsWhatServersSend) {
    const CFTPListDirResult listing(bufferOf(
        "modify=20261120200808;perm=flcdmpe;type=cdir;unique=FE00UA98193;UNIX.group=0;UNIX.groupname=ftpgrp;"
        "UNIX.mode=0755;UNIX.owner=0;UNIX.ownername=tester; .\r\n"
        "type=cdir;sizd=4096;modify=20261120201442;UNIX.mode=0755;UNIX.uid=65534;UNIX.gid=65534;"
        "unique=fe00ga982bd; .\r\n"
        "modify=20261120203347;perm=eldfmMTcp;size=4096;type=dir;unique=fe00gab40f7; x\r\n"
        "type=OS.unix=slink:;size=3;modify=20261120203347; link\r\n"
        // The examples of RFC 3659, 7.7.
        "Type=dir;Modify=19981107085215;Perm=el; tmp\r\n"
        "Type=file;Size=25730;Modify=19940728095854;Perm=; cap60.pl198.tar.gz\r\n"
        "Type=file;Size=1024990;Perm=r; cap60.pl198.tar.gz\r\n"));
    const auto& entries = listing.getEntries();
    ASSERT_EQ(entries.size(), 7u);
    EXPECT_EQ(entries[0]->getModifiedTime(), CTime::fromCTime(1795205288));
    EXPECT_EQ(entries[2]->getType(), IFileInfoBase::TypeDirectory);
    EXPECT_EQ(entries[2]->getSize(), 4096);
    EXPECT_EQ(entries[3]->getType(), IFileInfoBase::TypeUnknown);
    EXPECT_EQ(entries[4]->getName(), "tmp");
    EXPECT_EQ(entries[4]->getModifiedTime(), CTime::fromCTime(910428735));
    EXPECT_EQ(entries[5]->getSize(), 25730);
    EXPECT_FALSE(entries[6]->getModifiedTime().isSet());
}

TEST(FTPListDirResultTest, EveryCutOfAListingIsAListingOrACleanError) {
    const std::string whole = "type=file;size=12;modify=20200131235959.5; a b\r\ntype=dir; \xC3\xA4\r\n";
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        try {
            namesIn(std::string_view(whole).substr(0, length));
        } catch (const CError& error) {
            EXPECT_TRUE(error.getMessage().startsWith("Invalid ")) << error.what();
        }
    }
}

struct LenientCase {
    const char* description;
    std::string listing;
    std::vector<std::string> names;
    std::vector<std::string> unreadableLines;
};

const LenientCase lenientCases[] = {
    {"nothing", "", {}, {}},
    {"all readable", "type=file; a\r\n\r\ntype=dir; \xC3\xA4 b\r\n", {"a", "\xC3\xA4 b"}, {}},
    {"a name that is not UTF-8",
     "type=file; a\r\ntype=file;size=3; \xE4\r\ntype=dir; b\r\n",
     {"a", "b"},
     {"type=file;size=3; \xE4"}},
    {"a fact that is not UTF-8", "type=file;x=\xFF; a\n", {}, {"type=file;x=\xFF; a"}},
    {"a name with the end of a line",
     "type=file; a\ntype=file; b\nc\r\nd e\n\n f\ntype=file; g\n",
     {"a", "g"},
     {"type=file; b\nc\nd e\n f"}},
    {"both", "type=file; \xE4\nc\ntype=file; d\n", {"d"}, {"type=file; \xE4\nc"}},
    {"a first line that is no entry", "bad\r\nworse\r\ntype=file; a", {"a"}, {"bad\nworse"}},
    {"a line without facts", " a\r\ntype=file; b\r\n", {"b"}, {" a"}},
    {"an empty fact", "type=file;; a\r\ntype=file; b\r\n", {"b"}, {"type=file;; a"}},
    {"a bad time", "type=file;modify=2020; a\r\ntype=file; b\r\n", {"b"}, {"type=file;modify=2020; a"}},
    {"a NUL", std::string("type=file; a\0b\r\n", 16), {std::string("a\0b", 3)}, {}},
};

TEST(FTPListDirResultTest, LenientlyReadsWhatItCanAndKeepsTheRest) {
    for (const LenientCase& sample : lenientCases) {
        SCOPED_TRACE(sample.description);
        const CFTPListDirResult result = CFTPListDirResult::parseLeniently(bufferOf(sample.listing));
        std::vector<std::string> names;
        for (const P<CFTPDirEntry>& entry : result.getEntries()) {
            names.push_back(entry->getName().toUTF8());
        }
        EXPECT_EQ(names, sample.names);
        EXPECT_EQ(result.getUnreadableLines(), sample.unreadableLines);
    }
}

TEST(FTPListDirResultTest, LenientlyReadsWhateverIsReadStrictly) {
    const std::string listing =
        "type=file;size=12;modify=20200131235959.5;unique=aB; a b\r\ntype=dir; \xC3\xA4\r\n";
    const CFTPListDirResult strict(bufferOf(listing));
    EXPECT_TRUE(strict.getUnreadableLines().empty());
    const CFTPListDirResult lenient = CFTPListDirResult::parseLeniently(bufferOf(listing));
    ASSERT_EQ(lenient.getEntries().size(), 2u);
    EXPECT_EQ(lenient.getEntries()[0]->getSize(), 12);
    EXPECT_EQ(lenient.getEntries()[0]->getUniqueID(), "aB");
    EXPECT_EQ(lenient.getEntries()[1]->getType(), IFileInfoBase::TypeDirectory);
}

// ---- single replies --------------------------------------------------------------------------------------

TEST(FTPGetInfoResultTest, TakesTheLineBehindTheBeginning) {
    const CFTPGetInfoResult result(listOf({"250-Listing x\r\n", " type=file;size=3; x\r\n", "250 End\r\n"}));
    EXPECT_EQ(result.getInfo()->getName(), "x");
    EXPECT_EQ(result.getInfo()->getSize(), 3);
    EXPECT_EQ(result.getInfo()->getType(), IFileInfoBase::TypeFile);
}

TEST(FTPGetInfoResultTest, SkipsWhatStandsBefore) {
    const CFTPGetInfoResult result(
        listOf({"220 Hello\r\n", "331 Password\r\n", "230-Welcome\r\n", "230 In\r\n", "257 \"/\"\r\n",
                "250-Begin\r\n", " type=dir;sizd=4096;modify=20261120201442;unique=fe00; sub dir\r\n",
                "250 End.\r\n"}));
    EXPECT_EQ(result.getInfo()->getName(), "sub dir");
    EXPECT_EQ(result.getInfo()->getType(), IFileInfoBase::TypeDirectory);
}

TEST(FTPGetInfoResultTest, KeepsTheBlanksOfTheName) {
    EXPECT_EQ(CFTPGetInfoResult(listOf({"250-\r\n", " \t type=file;  a \r\n"})).getInfo()->getName(), " a ");
    EXPECT_EQ(CFTPGetInfoResult(listOf({"250-", "type=file; a\n"})).getInfo()->getName(), "a\n")
        << "only CR LF goes";
}

TEST(FTPGetInfoResultTest, TheLastOfSeveralCounts) {
    const CFTPGetInfoResult result(listOf(
        {"250-Dir\r\n", " type=dir; first\r\n", "250 End\r\n", "250-File\r\n", " type=file; second\r\n"}));
    EXPECT_EQ(result.getInfo()->getName(), "second");
}

TEST(FTPGetInfoResultTest, TheInfoLineItselfBeginsNothing) {
    const CFTPGetInfoResult result(listOf({"250-x\r\n", "250-a=b; name\r\n", " type=file; other\r\n"}));
    EXPECT_EQ(result.getInfo()->getName(), "name");
}

TEST(FTPGetInfoResultTest, WithoutAnInfoLineTellsTheWholeAnswer) {
    const auto check = [](std::initializer_list<const char*> lines, const std::string& response) {
        try {
            CFTPGetInfoResult result(listOf(lines));
            ADD_FAILURE() << "nothing was thrown";
        } catch (const CError& error) {
            EXPECT_EQ(error.getMessage(), "Invalid response to FTP MLST request (no info line found).");
            EXPECT_EQ(error.getProps().lookup("response").toUTF8(), response);
            EXPECT_EQ(error.getProps().getCount(), 1);
            EXPECT_EQ(error.getDomain(), "");
            EXPECT_EQ(error.getCode(), -1);
        }
    };
    check({"250 Done\r\n", " type=file; x\r\n"}, "250 Done\r\n type=file; x\r\n");
    check({" 250-x\r\n", "type=file; x"}, " 250-x\r\ntype=file; x");
    check({"250-x\r\n"}, "250-x\r\n");
    check({}, "");
}

TEST(FTPGetInfoResultTest, ABadInfoLineIsABadEntry) {
    EXPECT_EQ(whatOf([] {
                  CFTPGetInfoResult result(listOf({"250-x\r\n", " nospace\r\n"}));
              }),
              "Invalid FTP dir entry: 'nospace'");
}

}  // namespace
