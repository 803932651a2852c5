// The document of the command `status`.
#ifndef OVPATCH_OVPATCHCTL_STATUS_STATUS_JSON_H
#define OVPATCH_OVPATCHCTL_STATUS_STATUS_JSON_H

#include "ovpatchctl/report/report.h"
#include "ovpatchctl/state/paths_look.h"

namespace ovpatch::ctl {

Json baseAsJson(const BaseLook& base);
Json destinationAsJson(const DestinationLook& destination);

}  // namespace ovpatch::ctl

#endif
