# The seam: adds the platform folder that the build was pointed at. A header that another
# folder lacks would be found in the project's own, silently and with another layout.
cmake_path(SET ORVA_PLATFORM_DIR NORMALIZE ${ORVA_PLATFORM_DIR}/.)
cmake_path(GET ORVA_PLATFORM_DIR PARENT_PATH ORVA_PLATFORM_DIR) # no slash at the end
cmake_path(GET ORVA_PLATFORM_DIR FILENAME folder_name)
if(NOT folder_name STREQUAL "platform")
    message(FATAL_ERROR "ORVA_PLATFORM_DIR is ${ORVA_PLATFORM_DIR}: the folder must be named platform")
endif()
foreach(needed CMakeLists.txt CString.h Arrays.h QZUtils.h QZNet.h QZRPC.h HostTools.h)
    if(NOT EXISTS ${ORVA_PLATFORM_DIR}/${needed})
        message(FATAL_ERROR "${ORVA_PLATFORM_DIR} has no ${needed}")
    endif()
endforeach()

add_subdirectory(${ORVA_PLATFORM_DIR} ${PROJECT_BINARY_DIR}/platform)
if(NOT TARGET platform)
    message(FATAL_ERROR "${ORVA_PLATFORM_DIR}/CMakeLists.txt defines no target platform")
endif()
