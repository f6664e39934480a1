# Run by cpack after it has made the .deb packages: plain tars with the same stripped files for
# panels without dpkg, one with the library and a note, one with the service and its start script.
include(${CMAKE_CURRENT_LIST_DIR}/elf_needs.cmake)
set(version ${CPACK_PACKAGE_VERSION})
set(architecture ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
set(work ${CPACK_TOPLEVEL_DIRECTORY}/tar)
file(REMOVE_RECURSE ${work})

# run(OUTPUT command...): ends the packing when the command fails.
function(run output)
    execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${ARGN} WORKING_DIRECTORY ${work}
        OUTPUT_VARIABLE text OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
    set(${output} "${text}" PARENT_SCOPE)
endfunction()

# pack(NAME): the folder NAME with its check sums; always the same order, owner, modes and times.
function(pack name)
    file(GLOB files RELATIVE ${work}/${name} ${work}/${name}/*)
    set(sums "")
    foreach(file ${files})
        file(SHA256 ${work}/${name}/${file} sum)
        string(APPEND sums "${sum}  ${file}\n")
    endforeach()
    file(WRITE ${work}/${name}/SHA256SUMS "${sums}")
    run(ignored tar --create --file ${name}.tar --sort=name --format=ustar --owner=0 --group=0
        --numeric-owner --mode=u=rwX,go=rX --mtime=@$ENV{SOURCE_DATE_EPOCH} ${name})
    run(ignored gzip --no-name --force -9 ${name}.tar)
    file(COPY ${work}/${name}.tar.gz DESTINATION ${CPACK_PACKAGE_DIRECTORY})
    message("CPack: - package: ${CPACK_PACKAGE_DIRECTORY}/${name}.tar.gz generated.")
endfunction()

if(CPACK_PACKAGE_FILES MATCHES "/orva-vpnd_")
    set(name orva-vpnd-${version}-${architecture})
    set(staged ${CPACK_TEMPORARY_DIRECTORY}/service${CPACK_PACKAGING_INSTALL_PREFIX})
    file(COPY ${staged}/sbin/orva-vpnd ${staged}/bin/orva-vpnctl ${staged}/etc/orva/vpnd.toml
        ${CMAKE_CURRENT_LIST_DIR}/orva-vpnd.sh DESTINATION ${work}/${name})
    configure_file(${staged}/share/doc/orva-vpnd/without-systemd.md ${work}/${name}/README.md COPYONLY)
    pack(${name})
endif()

if(NOT CPACK_PACKAGE_FILES MATCHES "/libdevicevpn_")
    return()
endif()
set(name libdevicevpn-${version}-${architecture})
set(staged ${CPACK_TEMPORARY_DIRECTORY}/driver${CPACK_PACKAGING_INSTALL_PREFIX})
file(COPY ${staged}/${CPACK_ORVA_DRIVER_DESTINATION}/libdevicevpn.so DESTINATION ${work}/${name})
set(library ${work}/${name}/libdevicevpn.so)

# What the note says about this very library comes from the library.
elf_needs(${library} needs)
list(JOIN needs_LIBRARIES ", " needed)
set(highest_versions "GLIBC_${needs_GLIBC}")
if(needs_GLIBCXX)
    string(APPEND highest_versions ", GLIBCXX_${needs_GLIBCXX}")
endif()
set(string_abi "old (_GLIBCXX_USE_CXX11_ABI=0)")
if(CPACK_ORVA_STRING_ABI)
    set(string_abi "new (_GLIBCXX_USE_CXX11_ABI=1)")
endif()

set(processor "64-bit x86")
set(target x86-64)
if(architecture STREQUAL "armhf")
    set(processor "32-bit ARM, hard float")
    set(target armv7)
elseif(architecture STREQUAL "armel")
    set(processor "32-bit ARM, soft float calls")
    set(target armv7-softfloat)
endif()
configure_file(${CMAKE_CURRENT_LIST_DIR}/panel-note.txt.in ${work}/${name}/README.txt @ONLY)

pack(${name})
