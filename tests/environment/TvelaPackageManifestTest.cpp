// Package manifests: the reading rules, the requirement checks, where bundles are found, and how
// their components join the module registry behind the module directories.
#include <velacore/environment/TVelaEnvironment.h>
#include <velacore/environment/TenvGuard.h>
#include <velacore/environment/TvelaModuleSupportBase.h>
#include <velacore/environment/TvelaPackageManifest.h>
#include <velacore/environment/VelaEnv.h>
#include <velacore/platform/TplatformEnvironment.h>
#include <velacore/platform/TplatformSystem.h>

#include "EnvTestSupport.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace {

using envTest::str;
using envTest::set;
using envTest::write;

bool parse(TvelaPackageManifest& m, const std::string& text) {
  return m.parse(text.data(), text.size());
}

const std::string kPlatform = vela::platform::platformName();

TEST(TvelaPackageManifest, ReadsPackageComponentsAndRequirements) {
  TvelaPackageManifest m;
  ASSERT_TRUE(parse(m, R"(<?xml version="1.0" encoding="UTF-8"?>
<!-- a comment -->
<ApplicationPackage Name=" Northwind Render " Version="3.0" Extra="ignored">
  <RuntimeRequirements Name="Vela" AppVersion="7.1" Platform="linux,win64"/>
  <Description>text is ignored</Description>
  <Components>
    <Component Name="render" Path="./render"/>
    <ComponentEntry Name="denoise" Version="1.5" Path="Contents/denoise">
      <RuntimeRequirements Platform="win64"/>
    </ComponentEntry>
    <Component Name="noPath"/>
    <Component Path="no/name"/>
  </Components>
  <RuntimeRequirements><Nested Name="x"/></RuntimeRequirements>
</ApplicationPackage>)"));
  EXPECT_EQ(str(m.name), "Northwind Render");
  EXPECT_EQ(str(m.version), "3.0");
  EXPECT_EQ(str(m.requirements.platform), "");  // the later, empty element replaces it
  ASSERT_EQ(m.components.size(), 2u);
  EXPECT_EQ(str(m.components[0].version), "3.0");  // the package's
  EXPECT_EQ(str(m.components[0].path), "./render");
  EXPECT_EQ(m.components[0].line, 7);
  EXPECT_EQ(str(m.components[1].name), "denoise");
  EXPECT_EQ(str(m.components[1].requirements.platform), "win64");
  EXPECT_EQ(m.skipped, 2);
  EXPECT_TRUE(m.error.isEmpty());

  // Refused whole: another root, broken XML, no XML at all. Nothing half-read stays.
  EXPECT_FALSE(parse(m, "<Package><Components><C Name='a' Path='b' Version='1'/></Components>"
                        "</Package>"));
  EXPECT_EQ(str(m.error), "The manifest's root element is Package, not ApplicationPackage.");
  EXPECT_TRUE(m.components.empty());
  EXPECT_FALSE(parse(m, "<ApplicationPackage>\n<Components>\n<C Name='a' Path='b' Version='1'>"
                        "\n</Components></ApplicationPackage>"));
  EXPECT_EQ(str(m.error).rfind("The manifest is not well-formed XML", 0), 0u);
  EXPECT_EQ(m.errorLine, 4);
  EXPECT_TRUE(m.components.empty());
  EXPECT_FALSE(parse(m, ""));
  EXPECT_FALSE(parse(m, std::string("\0\1\2garbage", 10)));
  EXPECT_FALSE(m.read("/nonexistent/PackageManifest.xml"));
  EXPECT_EQ(str(m.error).rfind("The manifest cannot be read", 0), 0u);
}

TEST(TvelaPackageManifest, RequirementsMustFitThisApplication) {
  TVelaEnvironment::resetState();
  TVelaEnvironment::setVersion("7.1");
  Tstring why;
  EXPECT_TRUE(TvelaPackageManifest::fits({}, why));
  EXPECT_TRUE(TvelaPackageManifest::fits({"VELA", "6.0, 7.1", kPlatform.c_str()}, why));
  EXPECT_FALSE(TvelaPackageManifest::fits({"Other", "", ""}, why));
  EXPECT_EQ(str(why), "The package is for the application Other; this is vela.");
  EXPECT_FALSE(TvelaPackageManifest::fits({"", "7.10", ""}, why));
  EXPECT_FALSE(TvelaPackageManifest::fits({"", "7", ""}, why));
  EXPECT_FALSE(TvelaPackageManifest::fits({"", "", "LINUX"}, why));
  TVelaEnvironment::resetState();
}

class TvelaPackageScanTest : public ::testing::Test {
 protected:
  void SetUp() override {
    fRoot = fs::temp_directory_path() /
            ("vela-package-test-" +
             std::string(::testing::UnitTest::GetInstance()->current_test_info()->name()));
    fs::remove_all(fRoot);
    fs::create_directories(fRoot / "modules");
    set("VELA_LOCATION", (fRoot / "install").string());
    set("XDG_DATA_HOME", (fRoot / "data").string());
    set("VELA_MODULE_PATH", (fRoot / "modules").string());
    set("VELA_PACKAGE_PATH", (fRoot / "extra").string() + vela::platform::kPathListSeparator +
                                 (fRoot / "single.bundle").string() + "/");
    TVelaEnvironment::resetState();
    TVelaEnvironment::setVersion("7.1");
    TvelaModuleSupportBase::resetState();
  }
  void TearDown() override {
    TvelaModuleSupportBase::resetState();
    TVelaEnvironment::resetState();
    fs::remove_all(fRoot);
  }
  static std::string manifest(const std::string& requirements, const std::string& components) {
    return "<ApplicationPackage Name='p' Version='1.0'>" + requirements + "<Components>" +
           components + "</Components></ApplicationPackage>";
  }
  TenvGuard fGuard;
  fs::path fRoot;
};

TEST_F(TvelaPackageScanTest, BundlesBecomeModulesAfterTheModuleDirectories) {
  const fs::path apps = fRoot / "install" / "AppPlugins";
  write(apps / "A.bundle" / "PackageManifest.xml",
        manifest("<RuntimeRequirements AppVersion='7.1'/>",
                 "<C Name='fromBundle' Path='Contents/x'/>"
                 "<C Name='clash' Version='9.0' Path='Contents/x'/>"
                 "<C Name='elsewhere' Path='Contents/x'><RuntimeRequirements Platform='none'/></C>"));
  fs::create_directories(apps / "A.bundle" / "Contents" / "x");
  write(apps / "B.bundle" / "PackageManifest.xml",
        manifest("<RuntimeRequirements AppVersion='6.0'/>", "<C Name='old' Path='.'/>"));
  write(apps / "C.bundle" / "PackageManifest.xml", "<ApplicationPackage><Components>");
  fs::create_directories(apps / "NoManifest.bundle");
  write(fRoot / "data" / "Corvanta" / "AppPlugins" / "U" / "PackageManifest.xml",
        manifest("", "<C Name='user' Path='/'/>"));
  write(fRoot / "single.bundle" / "PackageManifest.xml",
        manifest("", "<C Name='single' Path='.'/>"));
  // A module directory beats a bundle in a name clash, whatever the version.
  fs::create_directories(fRoot / "content");
  write(fRoot / "modules" / "m.mod", "+ clash 1.0 ../content\n");

  const TstringArray bundles = TvelaPackageManifest::findBundles();
  std::vector<std::string> found;
  for (unsigned i = 0; i < bundles.length(); ++i) found.push_back(str(bundles[i]));
  EXPECT_EQ(found, (std::vector<std::string>{
                       (apps / "A.bundle").string(), (apps / "B.bundle").string(),
                       (apps / "C.bundle").string(),
                       (fRoot / "data" / "Corvanta" / "AppPlugins" / "U").string(),
                       (fRoot / "single.bundle").string()}));

  EXPECT_EQ(TvelaModuleSupportBase::scanForNewModules(), 4);
  using M = TvelaModuleSupportBase;
  EXPECT_EQ(str(M::getModulePath("fromBundle")), (apps / "A.bundle" / "Contents" / "x").string());
  EXPECT_EQ(M::findModule("fromBundle")->directoryIndex, 1);
  EXPECT_EQ(str(M::getModuleVersion("fromBundle")), "1.0");
  EXPECT_EQ(M::findModule("clash")->directoryIndex, 0);
  EXPECT_EQ(M::findModule("user")->directoryIndex, 2);  // B and C were refused: no index
  EXPECT_EQ(str(M::getModulePath("single")), (fRoot / "single.bundle").string());
  EXPECT_EQ(M::findModule("old"), nullptr);
  EXPECT_EQ(M::findModule("elsewhere"), nullptr);
  EXPECT_EQ(M::numModuleDirectories(), 1);
  EXPECT_EQ(M::moduleDirectories().length(), 4u);
  std::vector<std::string> reasons;
  for (const TvelaModuleRefusal& r : M::refusals()) reasons.push_back(str(r.reason));
  EXPECT_EQ(reasons.size(), 4u);
  auto has = [&reasons](const std::string& text) {
    for (const std::string& r : reasons)
      if (r.find(text) != std::string::npos) return true;
    return false;
  };
  EXPECT_TRUE(has("for the platform none"));
  EXPECT_TRUE(has("application version 6.0; this is 7.1"));
  EXPECT_TRUE(has("not well-formed XML"));
  EXPECT_TRUE(has("comes first"));
}

}  // namespace
