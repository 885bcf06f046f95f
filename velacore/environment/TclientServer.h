// TclientServer: a small synchronous client/server channel.
//
// A server keeps a list of clients, each with a client type and a callback; `sendToClients`
// calls every callback in subscription order on the calling thread before it returns.
//
//   TclientCallback onChange = [](void* client, int, TclientServer&, const TserverMsg&) {
//     ++*static_cast<int*>(client);
//   };
//   TclientServer server;
//   int panel = 0;
//   server.addClient(&panel, 7, onChange);
//   server.sendToClients(TserverModifiedMsg());   // onChange(&panel, 7, server, msg): panel 1
//   server.removeClient(&panel);
//
// Hazards:
// - Not thread-safe: subscribe, unsubscribe and send from one thread.
// - A client that goes away must call removeClient first; the server keeps a bare pointer.
// - Callbacks must not subscribe or unsubscribe on the server that is calling them.
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
  /// Copies start without clients: subscriptions belong to one object.
  TclientServer(const TclientServer&) {}
  TclientServer& operator=(const TclientServer&) { return *this; }
  virtual ~TclientServer();

  /// Subscribes `client` with its type and callback; false when the callback is null.
  bool addClient(void* client, int clientType, TclientCallback callback);
  /// Drops every subscription of `client`; answers how many were dropped.
  unsigned removeClient(void* client);
  [[nodiscard]] unsigned numClients() const { return static_cast<unsigned>(fClients.size()); }
  /// Delivers `msg` to every client, in subscription order.
  void sendToClients(const TserverMsg& msg);

 private:
  struct Tsubscription {
    void* client;
    int clientType;
    TclientCallback callback;
  };
  std::vector<Tsubscription> fClients;
};
