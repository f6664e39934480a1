# Two builds of the same sources give the same bytes, wherever their folders are: no path
# of the build remains in what is shipped, and archives carry no times and no owners.
# The times inside packages: packaging/source_date.cmake.

set(CMAKE_CXX_ARCHIVE_CREATE "<CMAKE_AR> qcD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_APPEND "<CMAKE_AR> qD <TARGET> <LINK_FLAGS> <OBJECTS>")
set(CMAKE_CXX_ARCHIVE_FINISH "<CMAKE_RANLIB> -D <TARGET>")

# orva_without_build_paths(TARGET...): debuggers need the paths, so Release only.
function(orva_without_build_paths)
    foreach(target ${ARGN})
        if(NOT TARGET ${target})
            continue()
        endif()
        # An integrator's platform may be a finished library, where nothing is compiled.
        get_target_property(imported ${target} IMPORTED)
        get_target_property(type ${target} TYPE)
        if(NOT imported AND NOT type STREQUAL "INTERFACE_LIBRARY")
            target_compile_options(${target} PRIVATE $<$<CONFIG:Release>:
                -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
                -ffile-prefix-map=${PROJECT_BINARY_DIR}=./build>)
        endif()
    endforeach()
endfunction()
orva_without_build_paths(platform_base platform support vpnclient device host devicevpn
    common service_base service_pki service_core service_tunnel service_store service_net service_rpc service_daemon orva-vpnd
    ctl_base ctl_client ctl_view ctl_doctor ctl_report ctl_commands orva-vpnctl
    panel_runtime panel_project panel_view panel_check panel_commands orva-panel)
