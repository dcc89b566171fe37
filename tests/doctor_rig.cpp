// For the test of qfctl doctor: gives a file a label, or owns the name of the event service until it is killed.
//
//   doctor_rig FILE LABEL
//   doctor_rig

#include <unistd.h>

#include <cstdio>

#include "support/bus_daemon.h"
#include "support/limits.h"

int main(int argc, char** argv) {
    if (argc == 3) {
        return SetLabel(argv[1], argv[2]) ? 0 : 1;
    }
    const BusClient bus = ConnectAs("teklo.CommonEventService");
    if (bus == nullptr) {
        return 1;
    }
    (void)puts("owned");
    (void)fflush(stdout);
    pause();
}
