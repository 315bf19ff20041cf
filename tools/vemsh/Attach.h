// `vemsh attach SOCKET`: a mirror of what a `vemsh serve` process carries, built and kept current by
// the attribute log, with every announcement the mirror makes printed as it happens.
#pragma once

#include <ostream>
#include <string>

namespace vemsh {

struct AttachOptions {
  std::string path;
  bool records = false;   // print each record received, decoded, before it is applied
  unsigned reconnects = 0;  // connect again this many times after the server closes the stream
  int connectTimeoutMs = 5000;
};

// Returns the exit status: 0 when the stream ended cleanly, 1 when it could not connect or the
// stream was refused.
int runAttach(const AttachOptions& options, std::ostream& out, std::ostream& err);

}  // namespace vemsh
