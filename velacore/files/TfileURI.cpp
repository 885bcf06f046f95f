#include <velacore/files/TfileURI.h>

#include <velacore/files/TfilePath.h>

#include <QtCore/QByteArray>
#include <QtCore/QString>
#include <QtCore/QUrl>
#include <QtCore/QUrlQuery>

// The query items are parsed from the URI only when first needed: most URIs are parsed and
// printed without anyone asking for their items. `query` always holds the delimiters.
struct TfileURI::Tparts {
  QUrl url;
  QUrlQuery query;
  bool queryLoaded = true;  // false: `query` does not hold the URI's items yet

  // The items, parsed now when they are not loaded (const paths never write, so concurrent
  // readers of one URI stay safe).
  QUrlQuery currentQuery() const {
    if (queryLoaded) return query;
    QUrlQuery parsed;
    parsed.setQueryDelimiters(query.queryValueDelimiter(), query.queryPairDelimiter());
    parsed.setQuery(url.query(QUrl::FullyEncoded));
    return parsed;
  }
  // The items, loaded for a change.
  QUrlQuery& loadedQuery() {
    if (!queryLoaded) {
      query.setQuery(url.query(QUrl::FullyEncoded));
      queryLoaded = true;
    }
    return query;
  }
  // Writes the changed items back into the URI.
  void storeQuery() {
    if (query.isEmpty()) {
      url.setQuery(QString());
    } else {
      url.setQuery(query);
    }
  }
};

namespace {

QString toQ(const Tstring& s) { return QString::fromUtf8(s.asC(), static_cast<int>(s.length())); }

Tstring fromQ(const QString& s) {
  const QByteArray bytes = s.toUtf8();
  return Tstring(bytes.constData(), static_cast<unsigned int>(bytes.size()));
}

TstringArray fromQ(const QStringList& list) {
  TstringArray out;
  for (const QString& s : list) out.addLast(fromQ(s));
  return out;
}

// Where getFileName cuts the path: its length L, the last "." D and the separator S before the
// file name (L - 1 when there is no file name).
struct TdotInfo {
  int length = -1;
  int dot = -1;
  int separator = -1;
  explicit TdotInfo(const QString& path) {
    if (path.isEmpty()) return;
    length = path.size();
    dot = path.lastIndexOf(QLatin1Char('.'));
    const int s = std::max(path.lastIndexOf(QLatin1Char('/')), path.lastIndexOf(QLatin1Char('\\')));
    separator = dot >= 1 && dot < length - 1 && s >= 0 && s < dot ? s : length - 1;
  }
  bool hasFileName() const { return dot >= 1 && dot < length - 1 && separator < dot; }
};

}  // namespace

// ---- construction ------------------------------------------------------------------------

TfileURI::TfileURI() : fParts(new Tparts) {}

TfileURI::TfileURI(const Tstring& text) : fParts(new Tparts) { setURI(text); }

TfileURI::TfileURI(const TfileURI& other) : fParts(new Tparts(*other.fParts)) {}

TfileURI& TfileURI::operator=(const TfileURI& other) {
  if (this != &other) *fParts = *other.fParts;
  return *this;
}

TfileURI::~TfileURI() { delete fParts; }

void TfileURI::setURI(const Tstring& text) {
  fParts->url.setUrl(toQ(text), QUrl::TolerantMode);
  fParts->queryLoaded = false;
}

void TfileURI::clear() {
  fParts->url.clear();
  removeAllQueryItems();
}

// ---- parts ---------------------------------------------------------------------------------

void TfileURI::setScheme(const Tstring& scheme) { fParts->url.setScheme(toQ(scheme)); }

void TfileURI::setPath(const Tstring& path) {
  QString p = toQ(path);
  if (!fParts->url.authority().isEmpty() && !p.isEmpty() && !p.startsWith(QLatin1Char('/')))
    p.prepend(QLatin1Char('/'));
  fParts->url.setPath(p, QUrl::DecodedMode);
}

void TfileURI::setFragment(const Tstring& fragment) { fParts->url.setFragment(toQ(fragment)); }

void TfileURI::setFileName(const Tstring& fileName) {
  Tstring directory = getDirectory();
  if (!directory.isEmpty() && !directory.endsWith("/") && !directory.endsWith("\\")) directory += "/";
  directory += fileName;
  setPath(directory);
}

void TfileURI::setDirectory(const Tstring& directory) {
  Tstring path = directory;
  TfilePath::ensureHasTrailingSeparator(path);
  path += getFileName(true);
  setPath(path);
}

void TfileURI::setAuthority(const Tstring& authority) { fParts->url.setAuthority(toQ(authority)); }
void TfileURI::setUserInfo(const Tstring& userInfo) { fParts->url.setUserInfo(toQ(userInfo)); }
void TfileURI::setUserName(const Tstring& userName) { fParts->url.setUserName(toQ(userName)); }
void TfileURI::setPassword(const Tstring& password) { fParts->url.setPassword(toQ(password)); }
void TfileURI::setHost(const Tstring& host) { fParts->url.setHost(toQ(host)); }
void TfileURI::setPort(int port) { fParts->url.setPort(port); }

Tstring TfileURI::getScheme() const { return fromQ(fParts->url.scheme()); }
Tstring TfileURI::getPath() const { return fromQ(fParts->url.path(QUrl::FullyDecoded)); }
Tstring TfileURI::getFragment() const { return fromQ(fParts->url.fragment(QUrl::FullyDecoded)); }
Tstring TfileURI::getAuthority() const { return fromQ(fParts->url.authority()); }
Tstring TfileURI::getUserInfo() const { return fromQ(fParts->url.userInfo()); }
Tstring TfileURI::getUserName() const { return fromQ(fParts->url.userName(QUrl::FullyDecoded)); }
Tstring TfileURI::getPassword() const { return fromQ(fParts->url.password(QUrl::FullyDecoded)); }
Tstring TfileURI::getHost() const { return fromQ(fParts->url.host(QUrl::FullyDecoded)); }
int TfileURI::getPort() const { return fParts->url.port(); }

Tstring TfileURI::getFileName(bool withExtension) const {
  const QString path = fParts->url.path(QUrl::FullyDecoded);
  const TdotInfo info(path);
  if (!info.hasFileName()) return Tstring();
  const int from = info.separator + 1;
  return fromQ(path.mid(from, (withExtension ? info.length : info.dot) - from));
}

Tstring TfileURI::getDirectory() const {
  const QString path = fParts->url.path(QUrl::FullyDecoded);
  const TdotInfo info(path);
  return fromQ(path.left(info.separator + 1));
}

void TfileURI::getLastDotLocationInfo(int& length, int& lastDot, int& lastSeparator) const {
  const TdotInfo info(fParts->url.path(QUrl::FullyDecoded));
  length = info.length;
  lastDot = info.dot;
  lastSeparator = info.separator;
}

// ---- query items ---------------------------------------------------------------------------

void TfileURI::addQueryItem(const Tstring& key, const Tstring& value) {
  fParts->loadedQuery().addQueryItem(toQ(key), toQ(value));
  fParts->storeQuery();
}

void TfileURI::setQueryItems(const TdataHashTable<Tstring, Tstring>& items) {
  QList<QPair<QString, QString>> list;
  items.forEach([&](const Tstring& key, const Tstring& value) { list.append({toQ(key), toQ(value)}); });
  fParts->loadedQuery().setQueryItems(list);
  fParts->storeQuery();
}

void TfileURI::setQueryDelimiters(char valueDelimiter, char pairDelimiter) {
  fParts->loadedQuery().setQueryDelimiters(QLatin1Char(valueDelimiter), QLatin1Char(pairDelimiter));
  fParts->storeQuery();
}

void TfileURI::getQueryItems(TdataHashTable<Tstring, Tstring>& items) const {
  for (const auto& item : fParts->currentQuery().queryItems(QUrl::FullyDecoded))
    items.insertUnique(fromQ(item.first), fromQ(item.second));
}

Tstring TfileURI::getQueryItemValue(const Tstring& key) const {
  return fromQ(fParts->currentQuery().queryItemValue(toQ(key), QUrl::FullyDecoded));
}

TstringArray TfileURI::getAllQueryItemKeys() const {
  QStringList keys;
  for (const auto& item : fParts->currentQuery().queryItems(QUrl::FullyDecoded)) keys.append(item.first);
  return fromQ(keys);
}

TstringArray TfileURI::getAllQueryItemValues() const {
  QStringList values;
  for (const auto& item : fParts->currentQuery().queryItems(QUrl::FullyDecoded))
    values.append(item.second);
  return fromQ(values);
}

char TfileURI::getQueryValueDelimiter() const {
  return fParts->query.queryValueDelimiter().toLatin1();
}

char TfileURI::getQueryPairDelimiter() const { return fParts->query.queryPairDelimiter().toLatin1(); }

void TfileURI::removeQueryItem(const Tstring& key) {
  fParts->loadedQuery().removeQueryItem(toQ(key));
  fParts->storeQuery();
}

void TfileURI::removeAllQueryItems() {
  const QChar value = fParts->query.queryValueDelimiter();
  const QChar pair = fParts->query.queryPairDelimiter();
  fParts->query.clear();
  fParts->query.setQueryDelimiters(value, pair);
  fParts->queryLoaded = true;
  fParts->url.setQuery(QString());
}

// ---- text and checks -------------------------------------------------------------------------

Tstring TfileURI::asString() const {
  const QUrl& url = fParts->url;
  const QString printed = url.toString();
  // The scheme prints first, so only a text beginning "vela:" can have it.
  if (!printed.startsWith(QLatin1String("vela:")) || url.scheme() != QLatin1String("vela"))
    return fromQ(printed);
  // The "vela" form is "vela://", the authority, then the rest with a "/" in front. The default
  // form already holds those pieces: "vela://" and the authority when there is one (it ends at
  // the first "/", "?" or "#"), then the rest.
  int restStart = 5;
  if (printed.startsWith(QLatin1String("vela://"))) {
    const QChar* text = printed.constData();
    restStart = 7;
    while (restStart < printed.size() && text[restStart] != QLatin1Char('/') &&
           text[restStart] != QLatin1Char('?') && text[restStart] != QLatin1Char('#')) {
      ++restStart;
    }
    if (restStart < printed.size() && text[restStart] == QLatin1Char('/')) return fromQ(printed);
  }
  QString form = QLatin1String("vela://");
  if (restStart > 5) form += printed.midRef(7, restStart - 7);
  if (restStart == printed.size() || printed.at(restStart) != QLatin1Char('/')) form += QLatin1Char('/');
  form += printed.midRef(restStart);
  return fromQ(form);
}

bool TfileURI::isEmpty() const { return fParts->url.isEmpty(); }

bool TfileURI::isValid() const {
  if (!isValidURIScheme(getScheme())) return false;
  Tstring text = asString();
  text.removeInitialAndFinalSpaces();
  if (text.index(':') <= 1) return false;
  if (TfilePath::isFullPathAnyPlatform(text)) return false;
  return fParts->url.isValid();
}

bool TfileURI::operator==(const TfileURI& other) const { return fParts->url == other.fParts->url; }

bool TfileURI::isValidURI(const Tstring& text) { return TfileURI(text).isValid(); }

bool TfileURI::isValidURIScheme(const Tstring& scheme) {
  return scheme.length() >= 2 && scheme.isAscii();
}

Tstring TfileURI::canonicalizeURI(const Tstring& text) { return TfileURI(text).asString(); }
