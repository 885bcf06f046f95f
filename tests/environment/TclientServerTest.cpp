#include <velacore/environment/TclientServer.h>
#include <velacore/environment/TprefOptionVars.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

// A client that records which messages reached it; under ASan a call into a destroyed client
// is caught as a use after free.
struct Twatcher : TclientServer {
  int heard = 0;
  static void onMsg(void* client, int, TclientServer&, const TserverMsg&) {
    ++static_cast<Twatcher*>(client)->heard;
  }
};

TEST(TclientServer, ClientDestroyedFirstUnsubscribesItself) {
  TclientServer server;
  TclientServer other;
  auto watcher = std::make_unique<Twatcher>();
  ASSERT_TRUE(server.addClient(watcher.get(), 0, Twatcher::onMsg));
  ASSERT_TRUE(server.addClient(watcher.get(), 1, Twatcher::onMsg));  // twice on one server
  ASSERT_TRUE(other.addClient(watcher.get(), 0, Twatcher::onMsg));
  int plain = 0;
  server.addClient(
      &plain, 0, [](void* c, int, TclientServer&, const TserverMsg&) { ++*static_cast<int*>(c); });
  server.sendToClients(TserverModifiedMsg());
  EXPECT_EQ(watcher->heard, 2);
  EXPECT_EQ(server.numClients(), 3u);

  watcher.reset();
  EXPECT_EQ(server.numClients(), 1u);
  EXPECT_EQ(other.numClients(), 0u);
  server.sendToClients(TserverModifiedMsg());
  other.sendToClients(TserverModifiedMsg());
  EXPECT_EQ(plain, 2);

  // Unsubscribed by hand first, then destroyed: nothing left to undo twice.
  Twatcher* early = new Twatcher;
  server.addClient(early, 0, Twatcher::onMsg);
  EXPECT_EQ(server.removeClient(early), 1u);
  delete early;
  EXPECT_EQ(server.numClients(), 1u);
  EXPECT_FALSE(server.addClient(&plain, 0, nullptr));
}

TEST(TclientServer, ServerDestroyedFirstIsForgotten) {
  Twatcher watcher;
  {
    TclientServer server;
    server.addClient(&watcher, 0, Twatcher::onMsg);
    const TclientServer copy(server);  // copies start without subscriptions
    EXPECT_EQ(copy.numClients(), 0u);
  }
  // The watcher's destructor must not reach back into the dead server (ASan).
  TclientServer later;
  later.addClient(&watcher, 0, Twatcher::onMsg);
  later.sendToClients(TserverModifiedMsg());
  EXPECT_EQ(watcher.heard, 1);
}

// Callbacks may destroy or add clients of the server that is sending.
TEST(TclientServer, ClientsChangeDuringASend) {
  TclientServer server;
  struct Tscene {
    TclientServer* server = nullptr;
    std::unique_ptr<Twatcher> doomed = std::make_unique<Twatcher>();
    std::vector<std::unique_ptr<Twatcher>> added;
  } scene;
  scene.server = &server;
  server.addClient(&scene, 0, [](void* c, int, TclientServer&, const TserverMsg&) {
    auto* s = static_cast<Tscene*>(c);
    s->doomed.reset();
    s->added.push_back(std::make_unique<Twatcher>());
    s->server->addClient(s->added.back().get(), 0, Twatcher::onMsg);
  });
  server.addClient(scene.doomed.get(), 0, Twatcher::onMsg);
  server.sendToClients(TserverModifiedMsg());
  EXPECT_EQ(server.numClients(), 2u);   // the scene and the one it added
  EXPECT_EQ(scene.added[0]->heard, 0);  // added during the send: hears the next one
  server.sendToClients(TserverModifiedMsg());
  EXPECT_EQ(scene.added[0]->heard, 1);
  EXPECT_EQ(server.numClients(), 3u);
}

TEST(TclientServer, OptionVariableWatchersComeAndGo) {
  TprefOptionVars prefs;
  prefs.addVar("a", 1);
  auto watcher = std::make_unique<Twatcher>();
  EXPECT_TRUE(prefs.addClient("a", watcher.get(), 0, Twatcher::onMsg));
  prefs.addVar("a", 2);
  EXPECT_EQ(watcher->heard, 1);
  watcher.reset();
  prefs.addVar("a", 3);  // no call into the destroyed watcher
  EXPECT_EQ(prefs.findVar("a")->numClients(), 0u);

  Twatcher survivor;
  prefs.addClient("a", &survivor, 0, Twatcher::onMsg);
  prefs.removeVar("a");  // the variable goes first; the survivor's destructor must cope
}

}  // namespace
