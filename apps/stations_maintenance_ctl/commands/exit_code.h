#pragma once

namespace tavi::ctl {

/// How the program ends, for scripts. Ended by a signal it adds 128 to the signal's number.
enum class exit_code {
  done = 0,           ///< everything asked for was done
  failed = 1,         ///< the service refused or failed, in whole or in part
  usage = 2,          ///< the command line is wrong, or a confirmation is missing
  not_reachable = 3,  ///< nobody listens where the service ought to
  time_out = 4,       ///< the limit of time passed first
  hung_up = 129,      ///< as Ctrl-C, but because its terminal has gone
  interrupted = 130,  ///< the user ended it by Ctrl-C
  terminated = 143,   ///< as Ctrl-C, but by SIGTERM
};

}  // namespace tavi::ctl
