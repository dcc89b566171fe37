#pragma once

#include <cstddef>
#include <memory>

#include "platform/bounds_checked.h"
#include "platform/common_event.h"
#include "platform/parameter.h"
#include "platform/plume_log.h"

namespace Conformance {

/// The addresses of the port's functions. Does not compile if a declaration of the port has another type.
struct Services {
    using Subscriber = std::shared_ptr<TEKLO::EventFwk::CommonEventSubscriber>;

    int (*plumePrint)(int, int, unsigned int, const char*, const char*, ...);
    int (*getParameter)(const char*, const char*, char*, unsigned int);
    int (*sprintf)(char*, size_t, const char*, ...);
    int (*strcpy)(char*, size_t, const char*);
    int (*strcat)(char*, size_t, const char*);
    int (*memset)(void*, size_t, int, size_t);
    bool (*subscribe)(const Subscriber&);
    bool (*unsubscribe)(const Subscriber&);
    bool (*publish)(const TEKLO::EventFwk::CommonEventData&);
};

/// Returns the addresses that the including source file sees.
static inline Services GetServices() {
    using TEKLO::EventFwk::CommonEventManager;
    return {&PlumePrint,
            &GetParameter,
            &sprintf_s,
            &strcpy_s,
            &strcat_s,
            &memset_s,
            &CommonEventManager::SubscribeCommonEvent,
            &CommonEventManager::UnSubscribeCommonEvent,
            &CommonEventManager::PublishCommonEvent};
}

}  // namespace Conformance
