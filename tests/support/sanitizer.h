#pragma once

/// Whether the address and undefined-behaviour sanitizers look on. The latter opens a pipe to check an
/// object's type, so it takes every object of a process without a free descriptor for a broken one.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool is_sanitizer_in_need_of_descriptors = true;
#elif defined(__has_feature)
inline constexpr bool is_sanitizer_in_need_of_descriptors = __has_feature(undefined_behavior_sanitizer);
#else
inline constexpr bool is_sanitizer_in_need_of_descriptors = false;
#endif

/// Whether a sanitizer looks on, with which everything takes many times as long.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool is_slowed_by_sanitizer = true;
#else
inline constexpr bool is_slowed_by_sanitizer = false;
#endif
