# Run by cpack after it has made the .deb packages. Two things in them would depend on
# whoever packs: the umask in the modes of folders, and the size that directories have in the
# file system of the build. Each package is packed once more without them.
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
    file(WRITE ${work}/DEBIAN/control "${control}")
    file(CHMOD ${folders} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
        GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    file(CHMOD ${work}/DEBIAN/control PERMISSIONS OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

    # Sorted, with SOURCE_DATE_EPOCH as the latest time.
    execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip -z9 --build ${work} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(REMOVE_RECURSE ${work})
