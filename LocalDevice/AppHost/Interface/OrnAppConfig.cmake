# The interface of apps for a programmable KNX device:
#   Orn::App            what a native app links
#   OrnApp_ASSEMBLY     what a managed app is compiled against
include("${CMAKE_CURRENT_LIST_DIR}/OrnAppTargets.cmake")
cmake_path(SET OrnApp_ASSEMBLY NORMALIZE "${CMAKE_CURRENT_LIST_DIR}/../../orn/OrnApp.dll")
