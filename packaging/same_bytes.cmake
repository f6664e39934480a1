# Run by cpack after it has made the .deb packages. Two things in them would depend on
# whoever packs: the umask in the modes of folders, and the size that directories have in the
# file system of the build. Each package is packed once more without them, and with what its
# programs depend on where dpkg-shlibdeps could not find that out.
include(${CMAKE_CURRENT_LIST_DIR}/elf_needs.cmake)
set(work ${CPACK_TOPLEVEL_DIRECTORY}/same_bytes)

foreach(package ${CPACK_PACKAGE_FILES})
    file(REMOVE_RECURSE ${work})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${work} COMMAND_ERROR_IS_FATAL ANY)

    # As Debian's own tools count: files in whole kibibytes, everything else as one.
    set(installed_size 0)
    set(folders ${work} ${work}/DEBIAN)
    file(GLOB_RECURSE entries LIST_DIRECTORIES true ${work}/usr ${work}/usr/*)
    foreach(entry ${entries})
        set(size 1)
        if(IS_DIRECTORY ${entry})
            list(APPEND folders ${entry})
        else()
            file(SIZE ${entry} bytes)
            math(EXPR size "(${bytes} + 1023) / 1024")
        endif()
        math(EXPR installed_size "${installed_size} + ${size}")
    endforeach()
    file(READ ${work}/DEBIAN/control control)
    string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${installed_size}" control "${control}")
    if(CPACK_ORVA_DEPENDS_FROM_FILES AND NOT control MATCHES "\nDepends:")
        # A package has one program or library at most.
        file(GLOB program ${work}/usr/bin/* ${work}/usr/sbin/*
            ${work}/usr/${CPACK_ORVA_DRIVER_DESTINATION}/*)
        if(program)
            elf_depends(${program} depends)
            string(REGEX REPLACE "(\nArchitecture: [^\n]*\n)" "\\1Depends: ${depends}\n" control "\n${control}")
            string(STRIP "${control}" control)
            string(APPEND control "\n")
        endif()
    endif()
    file(WRITE ${work}/DEBIAN/control "${control}")
    file(CHMOD ${folders} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
        GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    file(CHMOD ${work}/DEBIAN/control PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

    # Sorted, with SOURCE_DATE_EPOCH as the latest time.
    execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip -z9 --build ${work} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(REMOVE_RECURSE ${work})
