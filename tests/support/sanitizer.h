#pragma once

// Clang tells its sanitizers as features, GCC as macros.
#ifndef __has_feature
#define __has_feature(feature) 0
#endif

/// Whether the address and undefined-behaviour sanitizers look on. The latter opens a pipe to check an
/// object's type, so it takes every object of a process without a free descriptor for a broken one.
#if defined(__SANITIZE_ADDRESS__) || __has_feature(undefined_behavior_sanitizer)
inline constexpr bool is_sanitizer_in_need_of_descriptors = true;
#else
inline constexpr bool is_sanitizer_in_need_of_descriptors = false;
#endif

/// Whether a sanitizer looks on, with which everything takes many times as long and much memory of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__) || __has_feature(address_sanitizer) || \
    __has_feature(thread_sanitizer)
inline constexpr bool is_slowed_by_sanitizer = true;
#else
inline constexpr bool is_slowed_by_sanitizer = false;
#endif
