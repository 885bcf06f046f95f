#include <velacore/environment/TprefOptionVar.h>
#include <velacore/environment/TpreferenceItem.h>

#include <gtest/gtest.h>

namespace {

// An unrelated item registered under the option variables' type must not be taken for them.
class TotherItem : public TpreferenceItem {
 public:
  TotherItem() : TpreferenceItem(TprefOptionVars::kItemType, 0) {}
};

TEST(TprefOptionVar, FacadeThroughPreferenceManager) {
  TglobalPrefMgr::removeAllPrefItems();
  double d = -1.0;
  TprefOptionVar::setOptionVarValue("gridSpacing", 2.5);  // nothing registered: ignored
  EXPECT_FALSE(TprefOptionVar::getOptionVarValue("gridSpacing", d));
  EXPECT_EQ(d, -1.0);

  TglobalPrefMgr::addPrefItem(new TotherItem);
  TprefOptionVar::setOptionVarValue("gridSpacing", 2.5);
  EXPECT_FALSE(TprefOptionVar::optionVarExists("gridSpacing"));

  // The header's example.
  TglobalPrefMgr::addPrefItem(new TprefOptionVars);
  TprefOptionVar::setOptionVarValue("gridSpacing", 2.5);
  EXPECT_TRUE(TprefOptionVar::getOptionVarValue("gridSpacing", d));
  EXPECT_EQ(d, 2.5);

  TstringArray names;
  names.addLast("a");
  TprefOptionVar::setOptionVarValue("names", names);
  TstringArray back;
  EXPECT_TRUE(TprefOptionVar::getOptionVarValue("names", back));
  EXPECT_EQ(back.size(), 1u);
  int n = 3;
  EXPECT_FALSE(TprefOptionVar::getOptionVarValue("names", n));
  TprefOptionVar::removeOptionVar("names");
  EXPECT_FALSE(TprefOptionVar::optionVarExists("names"));
  TprefOptionVar::removeAllOptionVars();
  EXPECT_FALSE(TprefOptionVar::optionVarExists("gridSpacing"));
  TglobalPrefMgr::removeAllPrefItems();
}

}  // namespace
