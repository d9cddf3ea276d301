#include <unistd.h>

#include <nlohmann/json.hpp>

#include "mura_common/ipc.h"

/// Serves one operation, which tells the process's id, until it is killed; says when it has begun.
int main(int argc, char** argv) {
  if (argc != 2) {
    return 2;
  }
  mura_common::request_server server(argv[1]);
  server.add("process", [](nlohmann::json const&) { return nlohmann::json{{"result", getpid()}}; });
  if (!server.start() || write(STDOUT_FILENO, "!", 1) != 1) {
    return 1;
  }
  while (true) {
    pause();
  }
}
