#pragma once

#include "ipc_test.h"

/// Reaches a handler through the real server and the real client.
template <typename Client, typename Server, typename Handler>
class over_ipc {
 public:
  using handler_type = Handler;
  explicit over_ipc(Handler& handler) : server(handler) { EXPECT_TRUE(server.start()); }
  Client& service() { return client; }

 private:
  Server server;
  Client client;
};

/// A contract's fixture: a handler and one of the ways to it.
template <typename Way>
class contract : public ipc_test {
 protected:
  contract() { EXPECT_TRUE(way.service().init()); }
  auto& service() { return way.service(); }

  typename Way::handler_type handler;
  Way way{handler};
};
