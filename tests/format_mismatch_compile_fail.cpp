#include "quick_fix_log.h"

void LogWithMismatchedFormat() {
    QF_FILE_LOGI("%{public}d", "text");
}
