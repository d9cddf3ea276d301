#pragma once

#ifndef __has_feature
#define __has_feature(feature) 0
#endif
#if defined(__SANITIZE_THREAD__) || __has_feature(thread_sanitizer)
#include <sanitizer/tsan_interface.h>
#define MURA_COMMON_SEES_THREADS 1
#endif

/// What was done before a message was sent is over when it is received. ZeroMQ sees to that; the thread
/// sanitizer, which does not see into that library, is told here. Without it these functions do nothing.
namespace mura_common::ipc {

/// Stands for all messages, whoever sends them: only its address counts.
inline constexpr char every_message = 0;

/// To be called right before a message is sent.
inline void note_sending() {
#ifdef MURA_COMMON_SEES_THREADS
  __tsan_release(const_cast<char*>(&every_message));
#endif
}

/// To be called right after a message was received.
inline void note_receiving() {
#ifdef MURA_COMMON_SEES_THREADS
  __tsan_acquire(const_cast<char*>(&every_message));
#endif
}

}  // namespace mura_common::ipc
