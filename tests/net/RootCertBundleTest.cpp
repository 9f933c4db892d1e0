#include "vexil/net/RootCertBundle.h"

#include "tests/support/PrintText.h"
#include "zet/ResourceManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

using Path = vexil::TPathImpl<vexil::CWindowsPathTraits>;

fs::path toFileSystem(const Path& path) {
    const std::string bytes = path.getText().toUTF8();
    return fs::path(std::u8string(bytes.begin(), bytes.end()));
}

/// On Windows the path begins with the drive.
fs::path ownBundle() {
    return fs::absolute(VEXIL_TEST_CA_BUNDLE);
}

TEST(RootCertBundleTest, IsTheOneThatTheBuildBrings) {
    const Path bundle = vexil::getRootCertBundlePath();
    EXPECT_TRUE(bundle.isAbsolute());
    EXPECT_EQ(toFileSystem(bundle), ownBundle()) << bundle.getText().toUTF8();
    std::ifstream file(toFileSystem(bundle));
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    EXPECT_NE(text.find("-----BEGIN CERTIFICATE-----"), std::string::npos);
}

TEST(RootCertBundleTest, IsTheApplicationsIfItBringsOne) {
    const fs::path folder = fs::path(testing::TempDir()) / "RootCertBundleTest" / u8"ä€\U0001F600";
    // A failed run may have left it.
    fs::remove_all(folder.parent_path());
    fs::create_directories(folder / "vexil");
    std::ofstream(folder / "vexil" / "ca-bundle.crt") << "own";
    const std::u8string bytes = folder.u8string();
    const Path path(vexil::String::fromUTF8(std::string(bytes.begin(), bytes.end())));
    const auto manager = zet::CResourceManager::get();

    manager->addResourceFolder(path);
    EXPECT_EQ(toFileSystem(vexil::getRootCertBundlePath()), folder / "vexil" / "ca-bundle.crt");
    // A folder is not a bundle: the search continues at the next place.
    fs::remove(folder / "vexil" / "ca-bundle.crt");
    fs::create_directory(folder / "vexil" / "ca-bundle.crt");
    EXPECT_EQ(toFileSystem(vexil::getRootCertBundlePath()), ownBundle());
    manager->removeResourceFolder(path);
    fs::remove_all(folder.parent_path());
}

}  // namespace
