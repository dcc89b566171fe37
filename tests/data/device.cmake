# A device's platform, as docs/porting.md has it: five headers, and a library in ${DEVICE_SDK}.
add_library(device_platform INTERFACE)
target_include_directories(device_platform SYSTEM INTERFACE ${DEVICE_SDK})
target_link_libraries(device_platform INTERFACE ${DEVICE_SDK}/libdevice.so)
