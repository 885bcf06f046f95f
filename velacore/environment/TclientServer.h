// TclientServer: a small synchronous client/server channel.
//
// A server keeps a list of clients, each with a client type and a callback; `sendToClients`
// calls every callback in subscription order on the calling thread before it returns. A client
// is any pointer; a client that is itself a TclientServer is linked both ways, so whichever of
// the two is destroyed first drops the subscription.
//
//   TclientCallback onChange = [](void* client, int, TclientServer&, const TserverMsg&) {
//     ++*static_cast<int*>(client);
//   };
//   TclientServer server;
//   int panel = 0;
//   server.addClient(&panel, 7, onChange);
//   server.sendToClients(TserverModifiedMsg());   // onChange(&panel, 7, server, msg): panel 1
//   server.removeClient(&panel);
//   {
//     TclientServer watcher;                     // a client that cleans up after itself
//     server.addClient(&watcher, 0, onChange);
//   }                                            // server.numClients() == 0 again
//
// Hazards:
// - Not thread-safe: subscribe, unsubscribe, send and destroy on one thread.
// - A plain (void*) client that goes away must call removeClient first: the server keeps a bare
//   pointer. Only TclientServer clients unsubscribe themselves, and only when subscribed through
//   the TclientServer* overload with the same pointer.
// - Callbacks may subscribe, unsubscribe or destroy clients of the sending server; clients added
//   during a send hear the next message, not this one. A server must not be destroyed by its own
//   callbacks.
#pragma once

#include <velacore/base/TvelacoreApi.h>

#include <vector>

class TclientServer;

/// A message a server sends to its clients.
class VELACORE_API TserverMsg {
 public:
  virtual ~TserverMsg();
};

/// The message of a server whose state changed.
class VELACORE_API TserverModifiedMsg : public TserverMsg {
 public:
  ~TserverModifiedMsg() override;
};

/// Called for each client with the client, its type, the sending server and the message.
using TclientCallback = void (*)(void* client, int clientType, TclientServer& server,
                                 const TserverMsg& msg);

class VELACORE_API TclientServer {
 public:
  TclientServer() = default;
  /// Copies start without clients and servers: subscriptions belong to one object.
  TclientServer(const TclientServer&) {}
  TclientServer& operator=(const TclientServer&) { return *this; }
  /// Unsubscribes this object from every server it is a client of, and forgets its clients.
  virtual ~TclientServer();

  /// Subscribes `client` with its type and callback; false when the callback is null.
  bool addClient(void* client, int clientType, TclientCallback callback);
  /// The same for a client that is itself a TclientServer: it unsubscribes itself when it is
  /// destroyed first.
  bool addClient(TclientServer* client, int clientType, TclientCallback callback);
  /// Drops every subscription of `client`; answers how many were dropped.
  unsigned removeClient(const void* client);
  [[nodiscard]] unsigned numClients() const { return fLive; }
  /// Delivers `msg` to every client, in subscription order.
  void sendToClients(const TserverMsg& msg);

 private:
  struct Tsubscription {
    const void* client;
    int clientType;
    TclientCallback callback;  // null once dropped during a send
    TclientServer* linked;     // the client as a TclientServer, or null
  };
  bool subscribe(const void* client, int clientType, TclientCallback callback,
                 TclientServer* linked);
  /// Drops the subscriptions of `client` without touching the client's own list.
  unsigned dropClient(const void* client);
  void forgetServer(TclientServer* server);
  /// Erases the subscriptions dropped during a send.
  void compact();

  std::vector<Tsubscription> fClients;
  std::vector<TclientServer*> fServers;  // one entry per subscription as a linked client
  unsigned fLive = 0;
  unsigned fSending = 0;
};
