# Defines the target of a device's platform as docs/porting.md shows: five headers and a library in ${DEVICE_SDK}.
add_library(device_platform INTERFACE)
target_include_directories(device_platform SYSTEM INTERFACE ${DEVICE_SDK})
target_link_libraries(device_platform INTERFACE ${DEVICE_SDK}/libdevice.so)
