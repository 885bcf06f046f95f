#include <velacore/environment/TclientServer.h>

#include <algorithm>

TserverMsg::~TserverMsg() = default;
TserverModifiedMsg::~TserverModifiedMsg() = default;

TclientServer::~TclientServer() {
  for (TclientServer* server : fServers) server->dropClient(this);
  for (const Tsubscription& s : fClients) {
    if (s.callback != nullptr && s.linked != nullptr) s.linked->forgetServer(this);
  }
}

bool TclientServer::subscribe(const void* client, int clientType, TclientCallback callback,
                              TclientServer* linked) {
  if (callback == nullptr) return false;
  fClients.push_back({client, clientType, callback, linked});
  ++fLive;
  if (linked != nullptr) linked->fServers.push_back(this);
  return true;
}

bool TclientServer::addClient(void* client, int clientType, TclientCallback callback) {
  return subscribe(client, clientType, callback, nullptr);
}

bool TclientServer::addClient(TclientServer* client, int clientType, TclientCallback callback) {
  return subscribe(client, clientType, callback, client);
}

unsigned TclientServer::removeClient(const void* client) {
  for (const Tsubscription& s : fClients) {
    if (s.callback != nullptr && s.client == client && s.linked != nullptr) {
      s.linked->forgetServer(this);
    }
  }
  return dropClient(client);
}

unsigned TclientServer::dropClient(const void* client) {
  unsigned dropped = 0;
  for (Tsubscription& s : fClients) {
    if (s.callback != nullptr && s.client == client) {
      // Only marked here: a send in progress may be walking the list.
      s.callback = nullptr;
      ++dropped;
    }
  }
  fLive -= dropped;
  if (fSending == 0 && dropped != 0) compact();
  return dropped;
}

void TclientServer::compact() {
  fClients.erase(std::remove_if(fClients.begin(), fClients.end(),
                                [](const Tsubscription& s) { return s.callback == nullptr; }),
                 fClients.end());
}

void TclientServer::forgetServer(TclientServer* server) {
  fServers.erase(std::remove(fServers.begin(), fServers.end(), server), fServers.end());
}

void TclientServer::sendToClients(const TserverMsg& msg) {
  ++fSending;
  // By index and up to the count at the start: callbacks may add or drop clients meanwhile.
  const std::size_t count = fClients.size();
  for (std::size_t i = 0; i < count; ++i) {
    const Tsubscription s = fClients[i];
    if (s.callback != nullptr) s.callback(const_cast<void*>(s.client), s.clientType, *this, msg);
  }
  if (--fSending == 0 && fLive != fClients.size()) compact();
}
