# What is installed, and cpack's packages of it: one .deb for each component, and tars
# for panels without dpkg. They land in the folder packages/ of the build.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)
include(CheckCXXSourceCompiles)

set(ORVA_MAINTAINER "Orva panel software <maintainers@orva.invalid>" CACHE STRING
    "Who stands in the packages as their maintainer")

# A plug-in that the runtime opens by its path. In a folder of its own, because no program
# links it: ldconfig must not offer it, and no version in its name tells two apart.
set(ORVA_DRIVER_DESTINATION lib/orva/drivers)
set(packaging ${PROJECT_SOURCE_DIR}/packaging)
set(configured ${PROJECT_BINARY_DIR}/packaging)
set(prefix /usr)

# What finish_packages.cmake compresses: manual pages, and the changelog of each package.
function(orva_documents component package)
    cmake_parse_arguments(ARG "" "" "PAGES;MANUALS" ${ARGN})
    install(FILES ${packaging}/copyright ${packaging}/changelog ${ARG_PAGES}
        DESTINATION share/doc/${package} COMPONENT ${component})
    foreach(manual ${ARG_MANUALS})
        cmake_path(GET manual EXTENSION LAST_ONLY section)
        string(SUBSTRING ${section} 1 -1 section)
        install(FILES ${packaging}/man/${manual} DESTINATION share/man/man${section}
            COMPONENT ${component})
    endforeach()
endfunction()

# orva_completion(COMPONENT program...)
function(orva_completion component)
    foreach(program ${ARGN})
        install(FILES ${packaging}/completion.bash DESTINATION share/bash-completion/completions
            RENAME ${program} COMPONENT ${component})
    endforeach()
endfunction()

# --- driver: libdevicevpn ---
orva_documents(driver libdevicevpn PAGES docs/channels.md docs/commands.md docs/config-blob.md)
install(TARGETS devicevpn LIBRARY DESTINATION ${ORVA_DRIVER_DESTINATION} COMPONENT driver)
set(components driver)

# --- dev: libdevicevpn-dev ---
orva_documents(dev libdevicevpn-dev)
install(FILES host/HostInterface.h host/StatusCodes.h DESTINATION include/orva/host COMPONENT dev)
configure_file(${packaging}/devicevpn.pc.in ${configured}/devicevpn.pc @ONLY)
configure_package_config_file(${packaging}/devicevpn-config.cmake.in
    ${configured}/devicevpn-config.cmake INSTALL_DESTINATION share/cmake/devicevpn
    NO_CHECK_REQUIRED_COMPONENTS_MACRO)
# Nothing in this package belongs to one processor: that of the driver is the host's to know.
write_basic_package_version_file(${configured}/devicevpn-config-version.cmake
    COMPATIBILITY SameMajorVersion ARCH_INDEPENDENT)
install(FILES ${configured}/devicevpn.pc DESTINATION share/pkgconfig COMPONENT dev)
install(FILES ${configured}/devicevpn-config.cmake ${configured}/devicevpn-config-version.cmake
    DESTINATION share/cmake/devicevpn COMPONENT dev)
list(APPEND components dev)

# --- service: orva-vpnd; panel: orva-panel. Over another platform there is neither. ---
if(TARGET orva-vpnd)
    install(TARGETS orva-vpnd RUNTIME DESTINATION sbin COMPONENT service)
    set(sbindir ${prefix}/sbin)
    configure_file(${packaging}/orva-vpnd.service.in ${configured}/orva-vpnd.service @ONLY)
    install(FILES ${configured}/orva-vpnd.service ${packaging}/orva-vpnd.socket
        ${packaging}/orva-vpnd-failed.target DESTINATION lib/systemd/system COMPONENT service)
    install(FILES ${packaging}/tunnel.conf examples/vpnd-demo.toml
        DESTINATION share/doc/orva-vpnd/examples COMPONENT service)
    # Below the prefix only until finish_packages.cmake: it may get the VPN's password.
    install(FILES ${packaging}/vpnd.toml DESTINATION etc/orva COMPONENT service
        PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ)
    install(TARGETS orva-vpnctl RUNTIME DESTINATION bin COMPONENT service)
    orva_documents(service orva-vpnd
        PAGES docs/administration.md docs/configuration.md docs/security.md docs/reasons.md
              docs/without-systemd.md docs/rpc-protocol.md docs/channels.md docs/commands.md
        MANUALS orva-vpnd.8 orva-vpnctl.1 vpnd.toml.5)
    orva_completion(service orva-vpnd orva-vpnctl)
    list(APPEND components service)
endif()
if(TARGET orva-panel)
    install(TARGETS orva-panel RUNTIME DESTINATION bin COMPONENT panel)
    orva_documents(panel orva-panel
        PAGES docs/channels.md docs/commands.md docs/config-blob.md docs/project-files.md
        MANUALS orva-panel.1)
    orva_completion(panel orva-panel)
    # Where the panel program looks for the driver when nobody names one.
    target_compile_definitions(panel_commands PRIVATE
        ORVA_INSTALLED_DRIVER="${prefix}/${ORVA_DRIVER_DESTINATION}/libdevicevpn.so")
    file(GLOB examples CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/examples/*)
    # Those are the service's.
    list(FILTER examples EXCLUDE REGEX "/vpnd-[^/]*$")
    foreach(example ${examples})
        # The build's library becomes the installed one.
        cmake_path(GET example FILENAME name)
        file(READ ${example} text)
        string(REPLACE "../build/release/lib/" "${prefix}/${ORVA_DRIVER_DESTINATION}/" text "${text}")
        file(CONFIGURE OUTPUT ${configured}/examples/${name} CONTENT "${text}" @ONLY)
        set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${example})
        install(FILES ${configured}/examples/${name} DESTINATION share/orva-panel/examples
            COMPONENT panel)
    endforeach()
    list(APPEND components panel)
endif()

# --- Packages ---
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armel)
    if(ORVA_FLOAT_ABI STREQUAL "hard")
        set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE armhf)
    endif()
elseif(CMAKE_SYSTEM_PROCESSOR STREQUAL "x86_64")
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE amd64)
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME orva)
set(CPACK_PACKAGE_VENDOR Orva)
set(CPACK_PACKAGE_CONTACT ${ORVA_MAINTAINER})
set(CPACK_PACKAGE_DIRECTORY ${PROJECT_BINARY_DIR}/packages)
set(CPACK_PACKAGING_INSTALL_PREFIX ${prefix})
set(CPACK_COMPONENTS_ALL ${components})
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_SOURCE orva)

set(CPACK_DEBIAN_DRIVER_PACKAGE_NAME libdevicevpn)
set(CPACK_DEBIAN_DRIVER_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DRIVER_PACKAGE_RECOMMENDS "orva-vpnd")
set(CPACK_DEBIAN_DRIVER_DESCRIPTION "device driver for the VPN client of an operator panel
The panel's runtime loads this plug-in, polls the state and the settings of the
panel's own VPN through it, and hands it commands. The driver talks to the VPN
service at 127.0.0.1, port 9009.")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libdevicevpn-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_DEV_PACKAGE_SUGGESTS "libdevicevpn")
set(CPACK_DEBIAN_DEV_DESCRIPTION "host interface of the panel's VPN device driver
What a program needs to load libdevicevpn.so and to drive it: the header of the
host interface, the status codes, and files for pkg-config and CMake.")

set(CPACK_DEBIAN_SERVICE_PACKAGE_NAME orva-vpnd)
set(CPACK_DEBIAN_SERVICE_PACKAGE_SECTION net)
set(CPACK_DEBIAN_SERVICE_DESCRIPTION "VPN service of an operator panel
Keeps the panel's VPN settings and controls its tunnel, for local clients such
as the device driver in libdevicevpn. The tunnel is simulated.
It is started when it is installed. How to set it up is in
/usr/share/doc/orva-vpnd/administration.md.")
set(CPACK_DEBIAN_SERVICE_PACKAGE_DEPENDS "adduser")

set(CPACK_DEBIAN_SERVICE_PACKAGE_CONTROL_EXTRA
    ${packaging}/debian/conffiles ${packaging}/debian/postinst ${packaging}/debian/prerm
    ${packaging}/debian/postrm)

set(CPACK_DEBIAN_PANEL_PACKAGE_NAME orva-panel)
set(CPACK_DEBIAN_PANEL_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PANEL_PACKAGE_RECOMMENDS "libdevicevpn, orva-vpnd")
set(CPACK_DEBIAN_PANEL_DESCRIPTION "host for panel device drivers, on a PC or a panel
Loads a device driver as the panel's runtime does, polls its channels, sends it
commands and writes, runs project files, and checks a driver library before it
is copied to a panel. Example projects are in /usr/share/orva-panel/examples.")

# dpkg-shlibdeps knows the libraries of this machine only, not those of a panel or of another
# platform: then the version symbols in the files say what they depend on.
find_program(ORVA_DPKG_SHLIBDEPS dpkg-shlibdeps)
find_program(ORVA_FILE file)
mark_as_advanced(ORVA_DPKG_SHLIBDEPS ORVA_FILE)
if(ORVA_DPKG_SHLIBDEPS AND ORVA_FILE AND ORVA_OWN_PLATFORM AND NOT CMAKE_CROSSCOMPILING)
    set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
else()
    set(CPACK_ORVA_DEPENDS_FROM_FILES ON)
endif()

# The library itself does not show its std::string when the C++ library is inside.
if(ORVA_CXX11_ABI STREQUAL "")
    check_cxx_source_compiles("#include <string>
        #if !_GLIBCXX_USE_CXX11_ABI
        #error
        #endif
        int main() {}" ORVA_COMPILER_HAS_NEW_STRING)
    set(CPACK_ORVA_STRING_ABI "${ORVA_COMPILER_HAS_NEW_STRING}")
else()
    set(CPACK_ORVA_STRING_ABI "${ORVA_CXX11_ABI}")
endif()

# What cpack's own scripts need to know.
set(CPACK_PROJECT_CONFIG_FILE ${packaging}/source_date.cmake)
set(CPACK_POST_BUILD_SCRIPTS ${packaging}/finish_packages.cmake ${packaging}/panel_tar.cmake)
set(CPACK_ORVA_SOURCE_DIR ${PROJECT_SOURCE_DIR})
set(CPACK_ORVA_DRIVER_DESTINATION ${ORVA_DRIVER_DESTINATION})
set(CPACK_ORVA_READELF ${CMAKE_READELF})
set(CPACK_ORVA_COMPILER "${CMAKE_CXX_COMPILER_ID} ${CMAKE_CXX_COMPILER_VERSION}")
include(CPack)
