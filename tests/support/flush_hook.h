#pragma once

#include <filesystem>
#include <functional>

/// While it lives, tells a function of the test's own what is being flushed to disk: a file or a folder, by
/// its path, before it happens.
///
/// One at a time, for flushes by the thread that made it only; those of the database are among them.
class flush_hook {
 public:
  explicit flush_hook(std::function<void(std::filesystem::path const&)> function);
  ~flush_hook();
  flush_hook(flush_hook const&) = delete;
  flush_hook& operator=(flush_hook const&) = delete;
};
