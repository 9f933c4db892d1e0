// Listings are read without a tree: with the texts of a tree, and with a tree that a program gives.
#include "tests/s3/S3TestSupport.h"
#include "vexil/s3/S3DeleteResult.h"
#include "vexil/s3/S3ListObjectsResult.h"
#include "vexil/s3/S3ListVersionsResult.h"
#include "vexil/s3/S3PartList.h"
#include "vexil/s3/S3UploadList.h"

#include <wx/mstream.h>
#include <wx/xml/xml.h>

#include <random>
#include <string>

namespace {

using namespace vexil_test;
using testing::ElementsAre;
using vexil::CS3ListObjectsElement;
using vexil::CS3ListObjectsResult;

/// A document as a program reads it.
class CTree {
public:
    explicit CTree(const std::string& text) {
        wxMemoryInputStream stream(text.data(), text.size());
        EXPECT_TRUE(m_document.Load(stream));
    }
    wxXmlNode* getRoot() const { return m_document.GetRoot(); }

private:
    wxXmlDocument m_document;
};

/// What an element may have inside. Some of it separates texts, some is left out of a listing of version 1.
std::string makeContent(std::mt19937& random) {
    static const char* const pieces[] = {"a",
                                         "bc",
                                         " ",
                                         "   ",
                                         "\n",
                                         "\r\n",
                                         "\t",
                                         "&amp;",
                                         "&lt;",
                                         "&#32;",
                                         "&#10;",
                                         "&#13;",
                                         "<!-- d -->",
                                         "<?e f?>",
                                         "\xC3\xBC",
                                         "<![CDATA[]]>",
                                         "<![CDATA[ ]]>",
                                         "<![CDATA[<g>&\n]]>",
                                         "<h>i</h>",
                                         "]]",
                                         "&#x1F600;"};
    std::string content;
    for (auto count = random() % 6; count > 0; --count) {
        content += pieces[random() % std::size(pieces)];
    }
    return content;
}

TEST(S3XmlTest, ListingHasTheTextsOfATree) {
    std::mt19937 random(7);
    for (int i = 0; i < 3000; ++i) {
        const std::string content = makeContent(random);
        const std::string document = "<ListBucketResult><Contents><Key>k</Key><ETag>" + content +
                                     "</ETag></Contents></ListBucketResult>";
        const CS3ListObjectsResult expected(CTree(document).getRoot());
        const CS3ListObjectsResult actual(document.data(), static_cast<int>(document.size()));
        ASSERT_EQ(expected.getObjects().size(), 1u);
        ASSERT_EQ(actual.getObjects().size(), 1u);
        EXPECT_EQ(actual.getObjects()[0]->getETag(), expected.getObjects()[0]->getETag()) << content;
    }
}

TEST(S3XmlTest, WholeTextsAreThoseOfATree) {
    std::mt19937 random(8);
    for (int i = 0; i < 3000; ++i) {
        const std::string content = makeContent(random);
        const std::string deleted =
            "<DeleteResult><Deleted><Key>" + content + "</Key></Deleted></DeleteResult>";
        const std::string parts = "<ListPartsResult><Part><PartNumber>1</PartNumber><ETag>" + content +
                                  "</ETag></Part></ListPartsResult>";
        const vexil::CS3DeleteResult expected(deleted.data(), static_cast<int>(deleted.size()));
        EXPECT_EQ(vexil::CS3PartList(parts).getParts().at(0).eTag, expected.getDeletedKeys().at(0))
            << content;
    }
}

TEST(S3XmlTest, AnEmptySectionIsAText) {
    const std::string document =
        "<ListBucketResult><Contents><Key>k</Key><ETag><![CDATA[]]>e</ETag></Contents>"
        "</ListBucketResult>";
    const CS3ListObjectsResult page(document.data(), static_cast<int>(document.size()));
    EXPECT_EQ(page.getObjects().at(0)->getETag(), "");
}

TEST(S3XmlTest, ListingIsReadFromATree) {
    const CTree tree(
        "<ListBucketResult a='b'><!-- c --><IsTruncated>true</IsTruncated><NextMarker>m</NextMarker>"
        "<Contents><Key>k\xC3\xBC</Key><LastModified>t</LastModified><ETag>e</ETag><Size>7</Size>"
        "<Owner><Key>no</Key></Owner></Contents><CommonPrefixes><Prefix>p/</Prefix>"
        "<Prefix>q/</Prefix></CommonPrefixes></ListBucketResult>");
    const CS3ListObjectsResult page(tree.getRoot());
    EXPECT_TRUE(page.isTruncated());
    EXPECT_EQ(page.getDelimiteredNextMarker(), "m");
    EXPECT_THAT(page.getCommonPrefixes(), ElementsAre(String("p/"), String("q/")));
    ASSERT_EQ(page.getObjects().size(), 1u);
    EXPECT_EQ(page.getObjects()[0]->getKey(), String::fromUTF8("k\xC3\xBC"));
    EXPECT_EQ(page.getObjects()[0]->getLastModified(), "t");
    EXPECT_EQ(page.getObjects()[0]->getETag(), "e");
    EXPECT_EQ(page.getObjects()[0]->getSize(), 7);
}

TEST(S3XmlTest, ObjectIsReadFromATree) {
    const CTree tree("<Contents><Key>k</Key><Size>8</Size></Contents>");
    const wxXmlNode* const node = tree.getRoot();
    const CS3ListObjectsElement element(node);
    EXPECT_EQ(element.getKey(), "k");
    EXPECT_EQ(element.getSize(), 8);
    const CTree empty("<Contents><Size>8</Size></Contents>");
    const wxXmlNode* const noKey = empty.getRoot();
    EXPECT_EQ(plainErrorOf([noKey] { CS3ListObjectsElement(noKey).getKey(); }),
              "Invalid Amazon S3 list objects element: 'Key' field not defined.");
}

/// Reads more of a page, as a program may do.
class CPageWithName : public CS3ListObjectsResult {
public:
    explicit CPageWithName(std::string_view document) {
        constructEncoded(document, [this](const wxXmlNode* root) {
            for (const wxXmlNode* child = root->GetChildren(); child; child = child->GetNext()) {
                if (child->GetName() == "Name") {
                    name = child->GetNodeContent().ToStdWstring();
                }
            }
        });
    }
    String name;
};

TEST(S3XmlTest, DerivedPageGetsATree) {
    const CPageWithName page("<ListBucketResult><Name>n<!-- -->o</Name><Contents><Key>k</Key></Contents>"
                             "</ListBucketResult>");
    EXPECT_EQ(page.name, "n");
    EXPECT_EQ(page.getLastKeyBytes(), "k");
}

/// A listing whose entries a program reads itself.
class CDerivedListing : public vexil::CS3ListingPage {
public:
    explicit CDerivedListing(std::string_view document) {
        static constexpr CNames names{"list things", "Things", "ID", "NextID"};
        read(document, names, {"Thing"}, [this](const wxXmlNode* node, const String& key) {
            m_keys.push_back(key + "=" + String(node->GetAttribute("none", "").ToStdWstring()) +
                             String(node->GetChildren()->GetNodeContent().ToStdWstring()));
        });
    }
    std::size_t getCount() const noexcept override { return m_keys.size(); }
    const String& getKey(std::size_t index) const override { return m_keys[index]; }

private:
    vexil::TArray<String> m_keys;
};

TEST(S3XmlTest, DerivedListingGetsTreesOfItsEntries) {
    const CDerivedListing listing("<Things><Thing><ID>1</ID><Key>a</Key></Thing></Things>");
    ASSERT_EQ(listing.getCount(), 1u);
    EXPECT_EQ(listing.getKey(0), "a=1");
    EXPECT_EQ(listing.getNextIdMarker(), "1");
}

TEST(S3XmlTest, ErrorInsideASuccessKeepsItsTexts) {
    try {
        const vexil::CS3PartList parts("<Error><Code>c<!-- -->d</Code><Message> m</Message></Error>");
        FAIL();
    } catch (const vexil::CS3Error& error) {
        EXPECT_EQ(error.getS3Code(), "c");
        EXPECT_EQ(error.getMessage(), "Amazon S3 error:  m(c)");
    }
}

}  // namespace
