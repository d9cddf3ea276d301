#include <unistd.h>

#include "fake_stations_maintenance_service.h"
#include "stations_maintenance/req_resp_stations_maintenance_service_handler.h"

/// Serves the request interface until it is killed; says when it has begun.
int main() {
  fake_stations_maintenance_service handler;
  tavi::stations_maintenance::req_resp_stations_maintenance_service_handler server(handler);
  if (!server.start() || write(STDOUT_FILENO, "!", 1) != 1) {
    return 1;
  }
  while (true) {
    pause();
  }
}
