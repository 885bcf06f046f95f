// The developer-tool channel: where diagnostics go when no terminal or file is watched.
//
// On POSIX hosts this is the system log at debug priority; a developer reads it with
// `journalctl -f` or in /var/log. Each call sends one message; a trailing line feed is dropped.
#pragma once

#include <velacore/base/TvelacoreApi.h>

namespace vela::platform {

/// Sends one diagnostic line to the system's developer-tool channel. Null or empty text is
/// ignored. Never fails visibly: a channel that is not available drops the text.
VELACORE_INTERNAL_API void sendToDeveloperChannel(const char* text);

}  // namespace vela::platform
