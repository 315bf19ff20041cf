#include <Orv/OrvOpenConfigTypes.h>

namespace Orv {

bool OcAftExportFlags::ocAftExportEnabled() const {
  return ocAftV4ExportEnabled() || ocAftV6ExportEnabled() || ocAftMplsExportEnabled();
}

}  // namespace Orv
