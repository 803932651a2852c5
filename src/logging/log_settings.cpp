#include "logging/log_settings.h"

namespace ovpatch {

LogSettings& logSettings() {
    static LogSettings settings;
    return settings;
}

}  // namespace ovpatch
