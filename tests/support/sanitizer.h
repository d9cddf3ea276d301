#pragma once

/// Whether the address and undefined-behaviour sanitizers look on. The latter opens a pipe to check an
/// object's type, so it takes every object of a process without a free descriptor for a broken one.
#ifdef __SANITIZE_ADDRESS__
inline constexpr bool is_sanitizer_in_need_of_descriptors = true;
#else
inline constexpr bool is_sanitizer_in_need_of_descriptors = false;
#endif
