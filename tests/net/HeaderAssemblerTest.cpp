#include "vexil/net/HeaderAssembler.h"

#include "tests/support/PrintText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <utility>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using vexil::CHeaderAssembler;
using vexil::CServerInfo;
using vexil::P;
using vexil::String;
using vexil::TMap;

using Map = TMap<String, String>;

void feed(CHeaderAssembler& assembler, std::initializer_list<const char*> lines) {
    for (const char* line : lines) {
        assembler.handleHeaderLine(line);
    }
}

/// A line that is an error must not change the assembler.
template <class Error>
void expectRefused(CHeaderAssembler& assembler, const String& line, const char* message) {
    const Map before = assembler.getHeaderMap();
    try {
        assembler.handleHeaderLine(line);
        ADD_FAILURE() << "accepted: " << line.toUTF8();
    } catch (const Error& error) {
        EXPECT_EQ(error.getMessage(), message);
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
        EXPECT_TRUE(error.getProps().isEmpty());
        EXPECT_EQ(error.getInnerError(), nullptr);
    }
    EXPECT_EQ(assembler.getHeaderMap(), before);
    EXPECT_FALSE(assembler.isComplete());
}

void expectNoColon(CHeaderAssembler& assembler, const String& line) {
    expectRefused<vexil::CInvalidArgError>(assembler, line, "entry contains no ':'");
}

void expectNoName(CHeaderAssembler& assembler, const String& line) {
    expectRefused<vexil::CInvalidArgError>(assembler, line, "name is empty");
}

void expectNothingToContinue(CHeaderAssembler& assembler, const String& line) {
    expectRefused<vexil::CError>(assembler, line,
                                 "Error parsing HTTP header: first line starts with whitespace.");
}

struct Case {
    const char* what;
    std::vector<const char*> lines;
    Map expected;
};

TEST(HeaderAssemblerTest, FoldsLinesIntoTheMap) {
    const Case cases[] = {
        {"one header", {"Content-Type: text/html\r\n"}, {{"content-type", "text/html"}}},
        {"no space after the colon", {"A:b\r\n"}, {{"a", "b"}}},
        {"blanks around name and value", {"A \t: \t b c \t\r\n"}, {{"a", "b c"}}},
        {"no line end", {"A: b"}, {{"a", "b"}}},
        {"a bare line feed after the header", {"A: b\n"}, {{"a", "b"}}},
        {"empty value", {"A:\r\n"}, {{"a", ""}}},
        {"colons in the value", {"Date: 12:30:00\r\n"}, {{"date", "12:30:00"}}},
        {"white space inside the name", {"A B: c\r\n"}, {{"a b", "c"}}},
        {"case of the value stays", {"X: VaLuE\r\n"}, {{"x", "VaLuE"}}},
        {"only ASCII letters change case", {"X-\xc3\x84: y\r\n"}, {{"x-\xc3\x84", "y"}}},
        {"several names", {"B: 2\r\n", "A: 1\r\n"}, {{"a", "1"}, {"b", "2"}}},
        {"repeated", {"Set-Cookie: a=1\r\n", "Set-Cookie: b=2\r\n"}, {{"set-cookie", "a=1,b=2"}}},
        {"repeated in another case, not adjacent",
         {"V: a\r\n", "W: x\r\n", "v: b\r\n"},
         {{"v", "a,b"}, {"w", "x"}}},
        {"repeated three times", {"V: a\r\n", "V: b\r\n", "V: c\r\n"}, {{"v", "a,b,c"}}},
        {"empty first value is replaced", {"V:\r\n", "V: a\r\n"}, {{"v", "a"}}},
        {"empty second value leaves a comma", {"V: a\r\n", "V:\r\n"}, {{"v", "a,"}}},
        {"empty values only", {"V:\r\n", "V:\r\n"}, {{"v", ""}}},
        {"continued after a space",
         {"X-Long: part one\r\n", " part two\r\n"},
         {{"x-long", "part one part two"}}},
        {"continued after a tab",
         {"X-Long: part one\r\n", "\tpart two\r\n"},
         {{"x-long", "part one part two"}}},
        {"continued after much white space", {"X: a\r\n", " \t  b  c \t \r\n"}, {{"x", "a b  c"}}},
        {"continued twice", {"X: a\r\n", " b\r\n", " c\r\n"}, {{"x", "a b c"}}},
        {"continued empty value", {"X:\r\n", " b\r\n"}, {{"x", " b"}}},
        {"continued with a colon", {"X: a\r\n", " B: c\r\n"}, {{"x", "a B: c"}}},
        {"continues the line before, not the first",
         {"X: a\r\n", "Y: b\r\n", " c\r\n"},
         {{"x", "a"}, {"y", "b c"}}},
        {"continues a joined value",
         {"X: a\r\n", "Y: b\r\n", "X: c\r\n", " d\r\n"},
         {{"x", "a,c d"}, {"y", "b"}}},
        {"a bare line feed continues with nothing", {"X: a\r\n", "\n"}, {{"x", "a "}}},
        {"an empty line with a space continues with nothing", {"X: a\r\n", " \r\n"}, {{"x", "a "}}},
        {"other line ends continue with nothing", {"X: a\r\n", "\r", "\n\r", "\r\n\r\n"}, {{"x", "a   "}}},
    };
    for (const Case& c : cases) {
        CHeaderAssembler assembler;
        for (const char* line : c.lines) {
            assembler.handleHeaderLine(line);
        }
        EXPECT_EQ(assembler.getHeaderMap(), c.expected) << c.what;
        EXPECT_FALSE(assembler.isComplete()) << c.what;
    }
}

TEST(HeaderAssemblerTest, StartsEmpty) {
    const CHeaderAssembler assembler;
    EXPECT_THAT(assembler.getHeaderMap(), IsEmpty());
    EXPECT_FALSE(assembler.isComplete());
}

TEST(HeaderAssemblerTest, RefusesAContinuationOfNothing) {
    CHeaderAssembler assembler;
    for (const char* line : {" folded\r\n", "\tA: b\r\n", " ", "\n", "\r", " \r\n", "\v"}) {
        expectNothingToContinue(assembler, line);
    }
    feed(assembler, {"A: b\r\n"});
    assembler.reset();
    expectNothingToContinue(assembler, " folded\r\n");
}

TEST(HeaderAssemblerTest, RefusesMalformedLines) {
    CHeaderAssembler assembler;
    expectNoColon(assembler, "");
    feed(assembler, {"X: a\r\n"});
    expectNoColon(assembler, "");
    expectNoColon(assembler, "no colon\r\n");
    expectNoName(assembler, ":\r\n");
    expectNoName(assembler, ": value\r\n");
}

TEST(HeaderAssemblerTest, AMalformedLineLeavesTheLastNameToContinue) {
    CHeaderAssembler assembler;
    feed(assembler, {"X: a\r\n"});
    expectNoColon(assembler, "no colon\r\n");
    expectNoName(assembler, ": value\r\n");
    feed(assembler, {" b\r\n"});
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("x", "a b")));
}

TEST(HeaderAssemblerTest, TakesEveryCutOfALine) {
    const String line = "X-Name: v w\r\n";
    for (std::size_t length = 0; length <= line.length(); ++length) {
        CHeaderAssembler assembler;
        const String cut = line.substr(0, length);
        if (length < 7) {
            expectNoColon(assembler, cut);
            continue;
        }
        assembler.handleHeaderLine(cut);
        const String value = length < 9 ? "" : length < 11 ? "v" : "v w";
        EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("x-name", value))) << length;
    }
}

TEST(HeaderAssemblerTest, NothingCountsBehindTheEndOfTheBlock) {
    CHeaderAssembler assembler;
    feed(assembler, {"A: 1\r\n", "\r\n"});
    EXPECT_TRUE(assembler.isComplete());
    feed(assembler, {"B: 2\r\n", " folded\r\n", "", "no colon", ": x", "\r\n", "\n"});
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("a", "1")));

    assembler.reset();
    EXPECT_FALSE(assembler.isComplete());
    EXPECT_THAT(assembler.getHeaderMap(), IsEmpty());
    feed(assembler, {"B: 2\r\n"});
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("b", "2")));
}

TEST(HeaderAssemblerTest, KnowsNothingOfTheBlockBefore) {
    CHeaderAssembler assembler;
    feed(assembler, {"Server: a server of long standing\r\n", "Empty: no more\r\n", "Once: more\r\n"});
    assembler.reset();
    EXPECT_THAT(assembler.getHeaderMap(), IsEmpty());
    feed(assembler, {"Server: b\r\n", "server: c\r\n", "Empty:\r\n", " d\r\n"});
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("empty", " d"), Pair("server", "b,c")));
    assembler.reset();
    assembler.reset();
    feed(assembler, {"Once: again\r\n", "Server: d\r\n"});
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("once", "again"), Pair("server", "d")));
}

TEST(HeaderAssemblerTest, EndsAnEmptyBlock) {
    CHeaderAssembler assembler;
    feed(assembler, {"\r\n"});
    EXPECT_TRUE(assembler.isComplete());
    EXPECT_THAT(assembler.getHeaderMap(), IsEmpty());
}

TEST(HeaderAssemblerTest, ServerRecordLearnsAtTheEndOfTheBlock) {
    const P<CServerInfo> info = new CServerInfo;
    CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(info);
    feed(assembler, {"Server: DAV/2 Python/3.8\r\n"});
    EXPECT_EQ(info->getServerHeader(), "");
    feed(assembler, {"\r\n"});
    EXPECT_EQ(info->getServerHeader(), "DAV/2 Python/3.8");
    EXPECT_TRUE(info->areGetRangesBroken());
}

TEST(HeaderAssemblerTest, ServerRecordLearnsOnceABlock) {
    const P<CServerInfo> info = new CServerInfo;
    CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(info);
    feed(assembler, {"\r\n"});
    assembler.getHeaderMap()["server"] = "late";
    feed(assembler, {"\r\n"});
    EXPECT_EQ(info->getServerHeader(), "");
}

TEST(HeaderAssemblerTest, ResetKeepsTheServerRecord) {
    const P<CServerInfo> info = new CServerInfo;
    CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(info);
    feed(assembler, {"X-Interim: 1\r\n", "\r\n"});
    EXPECT_EQ(info->getServerHeader(), "");
    assembler.reset();
    feed(assembler, {"Server: final\r\n", "\r\n"});
    EXPECT_EQ(info->getServerHeader(), "final");
    EXPECT_THAT(assembler.getHeaderMap(), ElementsAre(Pair("server", "final")));
}

TEST(HeaderAssemblerTest, NullDetachesTheServerRecord) {
    const P<CServerInfo> info = new CServerInfo;
    CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(info);
    assembler.setServerInfoToUpdate(nullptr);
    feed(assembler, {"Server: x\r\n", "\r\n"});
    EXPECT_EQ(info->getServerHeader(), "");
}

class CWatchedServerInfo : public CServerInfo {
public:
    explicit CWatchedServerInfo(bool& isGone) : m_isGone(isGone) {}
    ~CWatchedServerInfo() override { m_isGone = true; }

private:
    bool& m_isGone;
};

TEST(HeaderAssemblerTest, KeepsAReferenceToTheServerRecord) {
    bool isGone = false;
    CHeaderAssembler assembler;
    assembler.setServerInfoToUpdate(new CWatchedServerInfo(isGone));
    feed(assembler, {"Server: x\r\n", "\r\n"});
    EXPECT_FALSE(isGone);
    assembler.setServerInfoToUpdate(new CServerInfo);
    EXPECT_TRUE(isGone);

    isGone = false;
    {
        CHeaderAssembler other;
        other.setServerInfoToUpdate(new CWatchedServerInfo(isGone));
    }
    EXPECT_TRUE(isGone);
}

TEST(HeaderAssemblerTest, GivesTheMapItselfAway) {
    CHeaderAssembler assembler;
    feed(assembler, {"X: a\r\n"});
    assembler.getHeaderMap()["x"] = "b";
    feed(assembler, {" c\r\n"});
    const CHeaderAssembler& constant = assembler;
    EXPECT_EQ(&constant.getHeaderMap(), &assembler.getHeaderMap());
    EXPECT_EQ(constant.getHeaderMap().at("x"), "b c");
}

/// Map, last name, end mark and server record must all be copied.
void expectContinues(CHeaderAssembler& assembler, CServerInfo& info) {
    feed(assembler, {" b\r\n", "\r\n"});
    EXPECT_EQ(assembler.getHeaderMap().at("x"), "a b");
    EXPECT_EQ(info.getServerHeader(), "s");
}

TEST(HeaderAssemblerTest, CopiesAndMovesTakeEverything) {
    for (int way = 0; way < 4; ++way) {
        const P<CServerInfo> info = new CServerInfo;
        CHeaderAssembler source;
        source.setServerInfoToUpdate(info);
        feed(source, {"Server: s\r\n", "X: a\r\n"});
        if (way == 0) {
            CHeaderAssembler copy(source);
            expectContinues(copy, *info);
        } else if (way == 1) {
            CHeaderAssembler copy;
            copy = source;
            expectContinues(copy, *info);
        } else if (way == 2) {
            CHeaderAssembler moved(std::move(source));
            expectContinues(moved, *info);
        } else {
            CHeaderAssembler moved;
            moved = std::move(source);
            expectContinues(moved, *info);
        }
    }
    CHeaderAssembler complete;
    feed(complete, {"\r\n"});
    EXPECT_TRUE(CHeaderAssembler(complete).isComplete());
    EXPECT_TRUE(CHeaderAssembler(std::move(complete)).isComplete());
}

TEST(HeaderAssemblerTest, CopiesHaveTheirOwnMap) {
    CHeaderAssembler source;
    feed(source, {"X: a\r\n"});
    CHeaderAssembler copy(source);
    feed(copy, {"Y: b\r\n", "\r\n"});
    EXPECT_THAT(source.getHeaderMap(), ElementsAre(Pair("x", "a")));
    EXPECT_FALSE(source.isComplete());
}

}  // namespace
