// TfileURI: a URI with scheme, authority, path, query and fragment.
//
//   TfileURI uri("vela://studio/ships/hull.vela?lod=2#rig");
//   uri.getScheme();             // "vela"
//   uri.getFileName(false);      // "hull"
//   uri.addQueryItem("frame", "12");
//   uri.asString();              // "vela://studio/ships/hull.vela?lod=2&frame=12#rig"
//   TfileURI::isValidURI("C:/ships/hull.vela");   // false: a drive is not a scheme
//
// Parsing and printing follow RFC 3986 (tolerant parsing: stray spaces and unsafe characters
// are percent-encoded rather than refused). Query items keep their order and are written back
// into the URI after every change; their delimiters default to "=" and "&".
//
// Hazards:
// - A URI is valid only with a scheme of two or more ASCII characters; "C:/x" is a path, not a
//   URI with scheme "C".
// - getFileName needs a separator before the name: a path "b.txt" alone has no file name, and
//   neither has a last element without a "." or one that ends with it.
// - Not locked: share copies between threads, not one object.
#pragma once

#include <velacore/base/TvelacoreApi.h>
#include <velacore/containers/TdataHashTable.h>
#include <velacore/strings/Tstring.h>
#include <velacore/strings/TstringArray.h>

class VELACORE_API TfileURI {
 public:
  /// @name Construction
  /// @{
  /// The empty URI.
  TfileURI();
  /// Parses `text` (tolerantly) and loads its query items.
  explicit TfileURI(const Tstring& text);
  TfileURI(const TfileURI& other);
  TfileURI& operator=(const TfileURI& other);
  ~TfileURI();
  /// Replaces the whole URI by `text`, parsed tolerantly; the query delimiters stay.
  void setURI(const Tstring& text);
  /// Empties the URI and its query items.
  void clear();
  /// @}

  /// @name Parts
  /// @{
  void setScheme(const Tstring& scheme);
  /// Sets the path as written ("%" is not decoded). With an authority, a path not beginning
  /// with "/" gets one in front.
  void setPath(const Tstring& path);
  void setFragment(const Tstring& fragment);
  /// Replaces the file name (with its extension) behind the directory.
  void setFileName(const Tstring& fileName);
  /// Puts `directory` (with a "/" behind it) in front of the current file name.
  void setDirectory(const Tstring& directory);
  /// "user:password@host:port", parsed into its parts.
  void setAuthority(const Tstring& authority);
  /// "user:password".
  void setUserInfo(const Tstring& userInfo);
  void setUserName(const Tstring& userName);
  void setPassword(const Tstring& password);
  void setHost(const Tstring& host);
  /// -1 removes the port.
  void setPort(int port);

  [[nodiscard]] Tstring getScheme() const;
  [[nodiscard]] Tstring getPath() const;
  [[nodiscard]] Tstring getFragment() const;
  /// The last element of the path, with or without its extension; "" when the path has no
  /// separator before it, no "." in it, or a "." only at its very start or end (see the class
  /// comment).
  [[nodiscard]] Tstring getFileName(bool withExtension = true) const;
  /// The path up to and including the separator before the file name; the whole path when it
  /// has no file name.
  [[nodiscard]] Tstring getDirectory() const;
  [[nodiscard]] Tstring getAuthority() const;
  [[nodiscard]] Tstring getUserInfo() const;
  [[nodiscard]] Tstring getUserName() const;
  [[nodiscard]] Tstring getPassword() const;
  [[nodiscard]] Tstring getHost() const;
  /// The port, or -1 when there is none.
  [[nodiscard]] int getPort() const;
  /// Where getFileName cuts, in UTF-16 units of the path: its length, the last "." (-1 when
  /// there is none) and the separator before the file name (length - 1 when there is no file
  /// name). The outputs are -1 for an empty path.
  void getLastDotLocationInfo(int& length, int& lastDot, int& lastSeparator) const;
  /// @}

  /// @name Query items
  /// @{
  /// Appends one item (an existing key is not replaced).
  void addQueryItem(const Tstring& key, const Tstring& value);
  /// Replaces every item by those of `items` (in the table's order).
  void setQueryItems(const TdataHashTable<Tstring, Tstring>& items);
  /// Sets the characters between key and value and between items (default '=' and '&').
  void setQueryDelimiters(char valueDelimiter, char pairDelimiter);
  /// Adds every item to `items` (a repeated key keeps its first value).
  void getQueryItems(TdataHashTable<Tstring, Tstring>& items) const;
  /// The value of the first item named `key` ("" when none).
  [[nodiscard]] Tstring getQueryItemValue(const Tstring& key) const;
  /// Keys and values of every item, in order.
  [[nodiscard]] TstringArray getAllQueryItemKeys() const;
  [[nodiscard]] TstringArray getAllQueryItemValues() const;
  [[nodiscard]] char getQueryValueDelimiter() const;
  [[nodiscard]] char getQueryPairDelimiter() const;
  /// Removes the first item named `key`.
  void removeQueryItem(const Tstring& key);
  void removeAllQueryItems();
  /// @}

  /// @name Text and checks
  /// @{
  /// The URI as text. The "vela" scheme always prints "vela://" and a "/" before the path.
  [[nodiscard]] Tstring asString() const;
  [[nodiscard]] bool isEmpty() const;
  /// A scheme of two or more ASCII characters, a ":" after it, not a full path, and a URI that
  /// parses.
  [[nodiscard]] bool isValid() const;
  [[nodiscard]] bool operator==(const TfileURI& other) const;
  [[nodiscard]] bool operator!=(const TfileURI& other) const { return !(*this == other); }

  [[nodiscard]] static bool isValidURI(const Tstring& text);
  /// Non-empty, ASCII only and at least two characters.
  [[nodiscard]] static bool isValidURIScheme(const Tstring& scheme);
  /// `text` parsed and printed again.
  [[nodiscard]] static Tstring canonicalizeURI(const Tstring& text);
  /// @}

 private:
  struct Tparts;  // the parsed URI and its query items
  Tparts* fParts;
};
