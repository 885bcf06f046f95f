// TfileURI: parts, query items, the "vela" printing, validity and file names; printing and parts
// compared with QUrl itself.
#include <velacore/files/TfileURI.h>

#include <velacore/files/TfilePath.h>

#include <QtCore/QUrl>

#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

std::string s(const Tstring& t) { return t.asC(); }

Tstring qs(const QString& q) { return Tstring(q.toUtf8().constData()); }

}  // namespace

TEST(TfileURI, HeaderExampleHolds) {
  TfileURI uri(Tstring("vela://studio/ships/hull.vela?lod=2#rig"));
  EXPECT_EQ(s(uri.getScheme()), "vela");
  EXPECT_EQ(s(uri.getFileName(false)), "hull");
  uri.addQueryItem(Tstring("frame"), Tstring("12"));
  EXPECT_EQ(s(uri.asString()), "vela://studio/ships/hull.vela?lod=2&frame=12#rig");
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("C:/ships/hull.vela")));
}

TEST(TfileURI, PrintingAndPartsMatchQUrl) {
  const char* texts[] = {
      "http://user:pw@example.com:8080/a/b.txt?x=1&y=two#frag",
      "https://example.com",
      "file:///home/ann/My Scene.vela",
      "ftp://[::1]:21/pub/%7Euser/",
      "mailto:ann@example.com",
      "http://ex ample.com/a b?q=a b#f g",
      "urn:isbn:0451450523",
      "http://example.com/ünïcode/パス?k=ü",
      "relative/path.txt",
      "",
      "http://%zz/",
      "s3://bucket/key%2Fwith%2Fslashes",
  };
  for (const char* text : texts) {
    const QUrl peer(QString::fromUtf8(text), QUrl::TolerantMode);
    const TfileURI uri{Tstring(text)};
    EXPECT_EQ(uri.asString(), qs(peer.toString())) << text;
    EXPECT_EQ(uri.getScheme(), qs(peer.scheme())) << text;
    EXPECT_EQ(uri.getHost(), qs(peer.host(QUrl::FullyDecoded))) << text;
    EXPECT_EQ(uri.getPath(), qs(peer.path(QUrl::FullyDecoded))) << text;
    EXPECT_EQ(uri.getPort(), peer.port()) << text;
    EXPECT_EQ(uri.getUserName(), qs(peer.userName(QUrl::FullyDecoded))) << text;
    EXPECT_EQ(uri.getPassword(), qs(peer.password(QUrl::FullyDecoded))) << text;
    EXPECT_EQ(uri.getFragment(), qs(peer.fragment(QUrl::FullyDecoded))) << text;
    EXPECT_EQ(uri.isEmpty(), peer.isEmpty()) << text;
    EXPECT_EQ(TfileURI::canonicalizeURI(Tstring(text)), uri.asString()) << text;
  }
}

TEST(TfileURI, VelaSchemePrintsWithAuthorityAndSlash) {
  EXPECT_EQ(s(TfileURI::canonicalizeURI(Tstring("vela:scenes/a.vela"))), "vela:///scenes/a.vela");
  EXPECT_EQ(s(TfileURI::canonicalizeURI(Tstring("vela://host"))), "vela://host/");
  EXPECT_EQ(s(TfileURI::canonicalizeURI(Tstring("vela://host?q=1#f"))), "vela://host/?q=1#f");
  TfileURI uri;
  uri.setScheme(Tstring("vela"));
  uri.setHost(Tstring("studio"));
  uri.setPath(Tstring("ships/hull.vela"));  // an authority: the path gets its "/"
  EXPECT_EQ(s(uri.getPath()), "/ships/hull.vela");
  EXPECT_EQ(s(uri.asString()), "vela://studio/ships/hull.vela");
  uri.setPath(Tstring("/100%/x"));  // "%" is not decoded
  EXPECT_EQ(s(uri.getPath()), "/100%/x");
  uri.setPort(7000);
  uri.setUserName(Tstring("ann"));
  uri.setPassword(Tstring("pw"));
  EXPECT_EQ(s(uri.getAuthority()), "ann:pw@studio:7000");
  EXPECT_EQ(s(uri.getUserInfo()), "ann:pw");
  uri.setUserInfo(Tstring("bob"));
  uri.setAuthority(Tstring("h2:1"));
  EXPECT_EQ(s(uri.getHost()), "h2");
  EXPECT_EQ(uri.getPort(), 1);
  uri.setFragment(Tstring("top"));
  EXPECT_EQ(s(uri.asString()), "vela://h2:1/100%25/x#top");
  const TfileURI copy(uri);
  EXPECT_EQ(copy, uri);
  TfileURI other;
  other = uri;
  EXPECT_EQ(other, uri);
  other.setPort(2);
  EXPECT_NE(other, uri);
  other.clear();
  EXPECT_TRUE(other.isEmpty());
}

TEST(TfileURI, QueryItemsAndDelimiters) {
  TfileURI uri(Tstring("http://h/p?a=1&b=two%20words&a=3"));
  EXPECT_EQ(s(uri.getQueryItemValue(Tstring("b"))), "two words");
  EXPECT_EQ(s(uri.getQueryItemValue(Tstring("a"))), "1");
  const TstringArray keys = uri.getAllQueryItemKeys();
  const TstringArray values = uri.getAllQueryItemValues();
  ASSERT_EQ(keys.length(), 3u);
  EXPECT_EQ(s(keys[2]), "a");
  EXPECT_EQ(s(values[2]), "3");
  TdataHashTable<Tstring, Tstring> table(0, 64);
  uri.getQueryItems(table);
  Tstring value;
  EXPECT_TRUE(table.find(Tstring("a"), value));
  EXPECT_EQ(s(value), "1");  // the first of a repeated key
  uri.removeQueryItem(Tstring("a"));
  EXPECT_EQ(s(uri.asString()), "http://h/p?b=two words&a=3");
  uri.setQueryDelimiters(':', ';');
  EXPECT_EQ(uri.getQueryValueDelimiter(), ':');
  EXPECT_EQ(uri.getQueryPairDelimiter(), ';');
  EXPECT_EQ(s(uri.asString()), "http://h/p?b:two words;a:3");
  uri.removeAllQueryItems();
  EXPECT_EQ(s(uri.asString()), "http://h/p");
  EXPECT_EQ(uri.getAllQueryItemKeys().length(), 0u);
  uri.addQueryItem(Tstring("k"), Tstring("v"));
  EXPECT_EQ(s(uri.asString()), "http://h/p?k:v");  // the delimiters stay
  TdataHashTable<Tstring, Tstring> items(0, 64);
  items.insert(Tstring("only"), Tstring("one"));
  uri.setQueryItems(items);
  EXPECT_EQ(s(uri.asString()), "http://h/p?only:one");
  // A new URI is read with the delimiters in force; removing the last item drops the "?".
  uri.setURI(Tstring("http://h/q?m:1;n:2"));
  EXPECT_EQ(s(uri.getQueryItemValue(Tstring("n"))), "2");
  uri.removeQueryItem(Tstring("m"));
  EXPECT_EQ(s(uri.asString()), "http://h/q?n:2");
  uri.removeQueryItem(Tstring("n"));
  EXPECT_EQ(s(uri.asString()), "http://h/q");
}

TEST(TfileURI, ValidityRefusesDrivesShortSchemesAndFullPaths) {
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("C:/x")));
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("c:\\x")));
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("x:/y")));  // one-letter scheme
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("/abs/path")));
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("rel/path")));
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("")));
  EXPECT_FALSE(TfileURI::isValidURI(Tstring("http://[::1")));  // QUrl refuses it
  EXPECT_TRUE(TfileURI::isValidURI(Tstring("http://example.com/x")));
  EXPECT_TRUE(TfileURI::isValidURI(Tstring("vela://studio/a.vela")));
  EXPECT_TRUE(TfileURI::isValidURI(Tstring("ab:x")));
  EXPECT_TRUE(TfileURI::isValidURIScheme(Tstring("ab")));
  EXPECT_FALSE(TfileURI::isValidURIScheme(Tstring("a")));
  EXPECT_FALSE(TfileURI::isValidURIScheme(Tstring("vélà")));
  EXPECT_FALSE(TfileURI::isValidURIScheme(Tstring()));
}

TEST(TfileURI, FileNamesNeedASeparatorBeforeTheDot) {
  struct Tcase {
    const char* path;
    const char* with;
    const char* without;
    int length, dot, separator;
  };
  const Tcase cases[] = {
      {"/a/b.tar.gz", "b.tar.gz", "b.tar", 11, 8, 2},
      {"b.txt", "", "", 5, 1, 4},         // no separator: no file name
      {"/a/b", "", "", 4, -1, 3},         // no dot
      {"/a/b.", "", "", 5, 4, 4},         // dot at the end
      {"/a.d/b", "", "", 6, 2, 5},        // the dot is in a folder name
      {"/a/.rc", ".rc", "", 6, 3, 2},     // a leading dot: all extension
      {"\\a\\b.c", "b.c", "b", 6, 4, 2},  // "\" separates too
      {"", "", "", -1, -1, -1},
  };
  for (const Tcase& c : cases) {
    TfileURI uri;
    uri.setScheme(Tstring("file"));
    uri.setPath(Tstring(c.path));
    EXPECT_EQ(s(uri.getFileName(true)), c.with) << c.path;
    EXPECT_EQ(s(uri.getFileName(false)), c.without) << c.path;
    int length = 0, dot = 0, separator = 0;
    uri.getLastDotLocationInfo(length, dot, separator);
    EXPECT_EQ(length, c.length) << c.path;
    EXPECT_EQ(dot, c.dot) << c.path;
    EXPECT_EQ(separator, c.separator) << c.path;
  }
  TfileURI uri(Tstring("http://h/dir/sub/file.txt"));
  EXPECT_EQ(s(uri.getDirectory()), "/dir/sub/");
  uri.setFileName(Tstring("other.vela"));
  EXPECT_EQ(s(uri.getPath()), "/dir/sub/other.vela");
  uri.setDirectory(Tstring("/x"));
  EXPECT_EQ(s(uri.getPath()), "/x/other.vela");
  EXPECT_EQ(s(uri.asString()), "http://h/x/other.vela");
}

TEST(TfileURI, CopiesAreIndependentAcrossThreads) {
  const TfileURI shared(Tstring("vela://studio/a/b.vela?x=1"));
  std::vector<std::thread> threads;
  std::vector<std::string> printed(4);
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < 200; ++i) {
        TfileURI mine(shared);
        mine.addQueryItem(Tstring("t"), Tstring(std::to_string(t).c_str()));
        printed[t] = s(mine.asString());
      }
    });
  }
  for (std::thread& t : threads) t.join();
  for (int t = 0; t < 4; ++t)
    EXPECT_EQ(printed[t], "vela://studio/a/b.vela?x=1&t=" + std::to_string(t));
  EXPECT_EQ(s(shared.asString()), "vela://studio/a/b.vela?x=1");
}
