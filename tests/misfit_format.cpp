#include "quick_fix_log.h"

void Misfit() {
    QF_FILE_LOGI("%{public}d", "text");
}
