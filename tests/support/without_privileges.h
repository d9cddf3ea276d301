#pragma once

#include <unistd.h>

/// While it lives, permissions count for this process, the superuser's too: all its threads then act as a
/// user who owns nothing. A folder made before must admit others (0755) to be reached at all.
class without_privileges {
 public:
  without_privileges() : own(geteuid()) {
    if (own == 0 && seteuid(nobody) != 0) {
      _exit(1);  // a test that goes on with all rights would prove nothing
    }
  }
  ~without_privileges() {
    if (own == 0 && seteuid(own) != 0) {
      _exit(1);
    }
  }
  without_privileges(without_privileges const&) = delete;
  without_privileges& operator=(without_privileges const&) = delete;

 private:
  static constexpr uid_t nobody = 65534;
  uid_t own;
};
