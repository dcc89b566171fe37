// Defines the port's functions again, as a program may do. The port is loaded first, so calls in this library reach the
// port. If the port's headers don't set default visibility, the calls reach these definitions.

#include "services.h"

int PlumePrint(int /*type*/, int /*level*/, unsigned int /*domain*/, const char* /*tag*/, const char* /*format*/, ...) {
    return 0;
}

int GetParameter(const char* /*key*/, const char* /*defaultValue*/, char* /*value*/, unsigned int /*length*/) {
    return 0;
}

int sprintf_s(char* /*dest*/, size_t /*destSize*/, const char* /*format*/, ...) {
    return 0;
}

int strcpy_s(char* /*dest*/, size_t /*destSize*/, const char* /*src*/) {
    return 0;
}

int strcat_s(char* /*dest*/, size_t /*destSize*/, const char* /*src*/) {
    return 0;
}

int memset_s(void* /*dest*/, size_t /*destSize*/, int /*value*/, size_t /*count*/) {
    return 0;
}

namespace TEKLO::EventFwk {

bool CommonEventManager::SubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& /*subscriber*/) {
    return false;
}

bool CommonEventManager::UnSubscribeCommonEvent(const std::shared_ptr<CommonEventSubscriber>& /*subscriber*/) {
    return false;
}

bool CommonEventManager::PublishCommonEvent(const CommonEventData& /*data*/) {
    return false;
}

}  // namespace TEKLO::EventFwk

extern "C" [[gnu::visibility("default")]] void GetServicesOfInterposer(Conformance::Services& services) {
    services = Conformance::GetServices();
}
