// Sets up conditions for the test of qfctl doctor.
//
//   doctor_rig FILE LABEL    gives the file a security label
//   doctor_rig               owns the name of the event service until it is killed

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
