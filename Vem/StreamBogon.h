/// \file
/// The tag that selects a type's attribute-log reading constructor, T(Vem::NboAttrLog::In*, StreamBogon).
/// Its own header, so that light headers can define such constructors inline.
#pragma once

namespace Vem {

struct StreamBogon {};

}  // namespace Vem
