#include <velacore/environment/TclientServer.h>

#include <algorithm>

TserverMsg::~TserverMsg() = default;
TserverModifiedMsg::~TserverModifiedMsg() = default;
TclientServer::~TclientServer() = default;

bool TclientServer::addClient(void* client, int clientType, TclientCallback callback) {
  if (callback == nullptr) return false;
  fClients.push_back({client, clientType, callback});
  return true;
}

unsigned TclientServer::removeClient(void* client) {
  const auto before = fClients.size();
  fClients.erase(std::remove_if(fClients.begin(), fClients.end(),
                                [client](const Tsubscription& s) { return s.client == client; }),
                 fClients.end());
  return static_cast<unsigned>(before - fClients.size());
}

void TclientServer::sendToClients(const TserverMsg& msg) {
  // A copy, so that a callback that misbehaves and unsubscribes cannot invalidate the loop.
  const std::vector<Tsubscription> clients = fClients;
  for (const Tsubscription& s : clients) s.callback(s.client, s.clientType, *this, msg);
}
