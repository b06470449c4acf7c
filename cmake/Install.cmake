# What "cmake --install" lays out, by component: "platform", "plugin", "localdevice", "tools", "app-development".
#
# All of it lies below the prefix, on a device /opt/ostra, and finds the rest relative to itself. Only the plug-in knows fixed
# places: those of a device.
if(CMAKE_INSTALL_PREFIX_INITIALIZED_TO_DEFAULT)
    set_property(CACHE CMAKE_INSTALL_PREFIX PROPERTY VALUE /opt/ostra)
endif()
set(ORN_DEVICE_DIR "." CACHE STRING "Where programs and libraries of the device are installed, seen from the prefix")
set(CMAKE_INSTALL_RPATH "$ORIGIN/../lib")
include(GNUInstallDirs)

function(orn_install_programs component)
    install(TARGETS ${ARGN} RUNTIME DESTINATION "${ORN_DEVICE_DIR}/bin" COMPONENT ${component})
endfunction()

function(orn_install_libraries component)
    install(TARGETS ${ARGN} LIBRARY DESTINATION "${ORN_DEVICE_DIR}/lib" COMPONENT ${component})
endfunction()
