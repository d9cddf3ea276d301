#pragma once

namespace tavi::http {

/// Lets the process open as many file descriptors as the system allows it: raises the soft limit to the hard
/// one, because every connection needs a descriptor. When that fails the limit stays, with one line in the
/// log. Any thread.
/// @return whether the limit is as high as it can be
bool raise_descriptor_limit();

}  // namespace tavi::http
