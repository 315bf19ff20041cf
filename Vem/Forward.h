/// \file
/// Forward declarations of the text and attribute-log types that every value type's header names in its
/// parser and log constructors, so that those headers stay light.
#pragma once

namespace Vem {
class CharRange;
struct StreamBogon;
namespace NboAttrLog {
class In;
class Out;
}  // namespace NboAttrLog
}  // namespace Vem
