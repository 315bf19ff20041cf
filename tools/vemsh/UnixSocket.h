// Unix-domain stream sockets named by a path: where `vemsh serve` listens and `vemsh attach` connects.
#pragma once

#include <string>

namespace vemsh {

// Listens at `path` (an old socket file there is replaced). Raises UserError when it cannot.
int listenUnix(const std::string& path);
// Connects to `path`, retrying while nobody listens yet, for up to `timeoutMs`; -1 when nobody came.
int connectUnix(const std::string& path, int timeoutMs);

}  // namespace vemsh
