// Long listings, and listings with random damage: each is read, or refused with a proper error.
#include "vexil/ftp/FTPGetInfoResult.h"
#include "vexil/ftp/FTPListDirResult.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace {

using namespace vexil;

const std::vector<std::string> samples = {
    "modify=20261120200808;perm=flcdmpe;type=cdir;unique=FE00UA98193;UNIX.group=0;UNIX.groupname=ftpgrp;"
    "UNIX.mode=0755;UNIX.owner=0;UNIX.ownername=tester; .\r\n",
    "type=cdir;sizd=4096;modify=20261120201442;UNIX.mode=0755;UNIX.uid=65534;UNIX.gid=65534;"
    "unique=fe00ga982bd; .\r\n",
    "type=OS.unix=slink:;size=3;modify=20261120203347.25; link\n",
    "modify=20261120203347;perm=eldfmMTcp;size=4096;type=dir;unique=fe00gab40f7; x\r\n",
    "Type=file;Size=25730;Modify=19940728095854;Perm=; cap60.pl198.tar.gz\r\n",
    "type=file;size=9223372036854775807;modify=20200131235959.999999; \xC3\xA4 \xE4\xB8\xAD "
    "\xF0\x9F\x98\x80\r\n",
};

TBuffer<unsigned char> bufferOf(const std::string& text) {
    TBuffer<unsigned char> buffer;
    buffer.append(reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
    return buffer;
}

/// Damages texts, always in the same way for the same seed.
class Mutator {
public:
    explicit Mutator(unsigned int seed) : m_random(seed) {}

    std::string sample() {
        std::string text;
        for (std::size_t i = below(4) + 1; i > 0; --i) {
            text += samples[below(samples.size())];
        }
        for (std::size_t i = below(8) + 1; i > 0; --i) {
            damage(text);
        }
        return text;
    }

private:
    std::size_t below(std::size_t count) {
        return std::uniform_int_distribution<std::size_t>(0, count - 1)(m_random);
    }

    void damage(std::string& text) {
        static const std::vector<std::string> pieces = {";",
                                                        "=",
                                                        " ",
                                                        "\r",
                                                        "\n",
                                                        "\r\n",
                                                        ".",
                                                        "type=",
                                                        "size=",
                                                        "modify=",
                                                        "-",
                                                        "+",
                                                        "20",
                                                        "99999999999999999999",
                                                        std::string(1, '\0'),
                                                        "\xFF",
                                                        "\xC3",
                                                        "\xED\xA0\x80",
                                                        "\xC4\xB0",
                                                        "250-",
                                                        "e308",
                                                        std::string(5000, '9')};
        const std::size_t at = below(text.size() + 1);
        const std::size_t count = below(text.size() - at + 1);
        switch (below(6)) {
        case 0:
            text.insert(at, pieces[below(pieces.size())]);
            break;
        case 1:
            text.erase(at, std::min<std::size_t>(count, 3));
            break;
        case 2:
            text.erase(at);
            break;
        case 3:
            text.insert(at, text.substr(at, std::min<std::size_t>(count, 40)));
            break;
        default:
            if (at < text.size()) {
                text[at] = static_cast<char>(below(256));
            }
            break;
        }
    }

    std::mt19937 m_random;
};

/// True if the text was read. Every error is a plain CError that begins with "Invalid ".
template <class Read>
bool isRead(Read read, const std::string& text) {
    try {
        read();
        return true;
    } catch (const CError& error) {
        EXPECT_EQ(std::string(error.what()).rfind("Invalid ", 0), 0u) << error.what();
        EXPECT_EQ(error.getDomain(), "");
        EXPECT_EQ(error.getCode(), -1);
    } catch (const std::exception& error) {
        ADD_FAILURE() << error.what() << " for " << testing::PrintToString(text);
    }
    return false;
}

/// Counts how many damaged texts are read, so that neither result is missing.
template <class Read>
void readDamaged(Read read) {
    Mutator mutator(20261121);
    int readCount = 0;
    constexpr int count = 20000;
    for (int i = 0; i < count; ++i) {
        const std::string text = mutator.sample();
        readCount += isRead([&] { read(text); }, text) ? 1 : 0;
    }
    EXPECT_GT(readCount, count / 100);
    EXPECT_LT(readCount, count - count / 100);
}

bool isOneOfTheTypes(const CFTPDirEntry& entry) {
    return entry.getType() >= 0 && entry.getType() <= 2;
}

TEST(FTPListingMutationTest, DamagedEntriesAreReadOrRefused) {
    readDamaged([](const std::string& text) {
        const CFTPDirEntry entry(String::fromUTF8(text));
        EXPECT_TRUE(isOneOfTheTypes(entry));
        EXPECT_LT(entry.getName().length(), text.size());
    });
}

TEST(FTPListingMutationTest, DamagedListingsAreReadOrRefused) {
    readDamaged([](const std::string& text) {
        const CFTPListDirResult listing(bufferOf(text));
        for (const P<CFTPDirEntry>& entry : listing.getEntries()) {
            EXPECT_TRUE(isOneOfTheTypes(*entry));
            EXPECT_EQ(entry->getName().view().find_first_of(L"\r\n"), std::wstring_view::npos);
        }
    });
}

TEST(FTPListingMutationTest, DamagedAnswersAreReadOrRefused) {
    readDamaged([](const std::string& text) {
        CNetStringList lines;
        lines.add("250-Begin\r\n");
        for (std::size_t begin = 0; begin < text.size();) {
            const std::size_t end = std::min(text.find('\n', begin), text.size() - 1) + 1;
            const String line = String::fromUTF8(text.substr(begin, end - begin));
            if (line.find(L'\0') == String::npos) {
                lines.add(line);
            }
            begin = end;
        }
        const CFTPGetInfoResult result(lines);
        EXPECT_TRUE(isOneOfTheTypes(*result.getInfo()));
    });
}

TEST(FTPListingMutationTest, EveryCutOfEverySampleIsReadOrRefused) {
    for (const std::string& sample : samples) {
        for (std::size_t length = 0; length <= sample.size(); ++length) {
            const std::string cut = sample.substr(0, length);
            isRead([&] { CFTPListDirResult listing(bufferOf(cut)); }, cut);
        }
    }
}

TEST(FTPListingMutationTest, ALongListingHasAllItsEntries) {
    constexpr int count = 10000;
    std::string text;
    for (int i = 0; i < count; ++i) {
        text += "type=file;size=" + std::to_string(i) +
                ";modify=20261120201442;UNIX.mode=0644;UNIX.uid=65534;UNIX.gid=65534;unique=fe00ga982bd; "
                "report " +
                std::to_string(i) + ".pdf\r\n";
    }
    const CFTPListDirResult listing(bufferOf(text));
    ASSERT_EQ(listing.getEntries().size(), static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const CFTPDirEntry& entry = *listing.getEntries()[static_cast<std::size_t>(i)];
        ASSERT_EQ(entry.getName(), "report " + String::fromInt(i) + ".pdf");
        ASSERT_EQ(entry.getSize(), i);
        ASSERT_EQ(entry.getType(), zet::IFileInfoBase::TypeFile);
    }
}

TEST(FTPListingMutationTest, ALongNameIsKeptWhole) {
    const std::string name(1000000, 'n');
    const CFTPListDirResult listing(bufferOf("type=file; " + name + "\r\n"));
    ASSERT_EQ(listing.getEntries().size(), 1u);
    EXPECT_EQ(listing.getEntries()[0]->getName().length(), name.size());
}

}  // namespace
