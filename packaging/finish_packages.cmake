# Run by cpack after it has made the .deb packages. Each is unpacked, brought into the form of
# Debian's own and packed again:
#   - manual pages and changelogs are compressed;
#   - what belongs into /etc is moved there from below /usr, where cpack must have it;
#   - Depends of programs that dpkg-shlibdeps could not look at;
#   - nothing of whoever packs: not the umask in the modes of folders, nor the size that
#     directories have in the file system of the build.
include(${CMAKE_CURRENT_LIST_DIR}/elf_needs.cmake)
set(work ${CPACK_TOPLEVEL_DIRECTORY}/finish_packages)
set(for_all OWNER_READ OWNER_WRITE GROUP_READ WORLD_READ)

foreach(package ${CPACK_PACKAGE_FILES})
    file(REMOVE_RECURSE ${work})
    execute_process(COMMAND dpkg-deb --raw-extract ${package} ${work} COMMAND_ERROR_IS_FATAL ANY)
    if(EXISTS ${work}/usr/etc)
        file(RENAME ${work}/usr/etc ${work}/etc)
    endif()
    # Without name and time in it, which are whoever packs's.
    file(GLOB compressed ${work}/usr/share/man/*/* ${work}/usr/share/doc/*/changelog)
    foreach(file ${compressed})
        execute_process(COMMAND gzip --no-name -9 ${file} COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    set(conffiles "")
    if(EXISTS ${work}/DEBIAN/conffiles)
        file(STRINGS ${work}/DEBIAN/conffiles conffiles)
    endif()

    # As Debian's own tools count: files in whole kibibytes, everything else as one. A conffile
    # has no sum: it is the administrator's.
    set(installed_size 0)
    set(sums "")
    set(folders ${work} ${work}/DEBIAN)
    file(GLOB_RECURSE entries LIST_DIRECTORIES true RELATIVE ${work} ${work}/*)
    list(FILTER entries EXCLUDE REGEX "^DEBIAN(/|$)")
    list(SORT entries)
    foreach(entry ${entries})
        set(size 1)
        if(IS_DIRECTORY ${work}/${entry})
            list(APPEND folders ${work}/${entry})
        else()
            file(SIZE ${work}/${entry} bytes)
            math(EXPR size "(${bytes} + 1023) / 1024")
            if(NOT "/${entry}" IN_LIST conffiles)
                file(MD5 ${work}/${entry} sum)
                string(APPEND sums "${sum}  ${entry}\n")
            endif()
        endif()
        math(EXPR installed_size "${installed_size} + ${size}")
    endforeach()
    file(WRITE ${work}/DEBIAN/md5sums "${sums}")

    file(READ ${work}/DEBIAN/control control)
    string(REGEX REPLACE "Installed-Size: [0-9]+" "Installed-Size: ${installed_size}" control "${control}")
    if(CPACK_ORVA_DEPENDS_FROM_FILES)
        file(GLOB programs ${work}/usr/bin/* ${work}/usr/sbin/*
            ${work}/usr/${CPACK_ORVA_DRIVER_DESTINATION}/*)
        if(programs)
            elf_depends("${programs}" depends)
            if(control MATCHES "\nDepends:")
                string(REPLACE "\nDepends: " "\nDepends: ${depends}, " control "${control}")
            else()
                string(REGEX REPLACE "(\nArchitecture: [^\n]*\n)" "\\1Depends: ${depends}\n" control "\n${control}")
                string(STRIP "${control}" control)
                string(APPEND control "\n")
            endif()
        endif()
    endif()
    # The tables of the service's file are STRICT, which no symbol tells.
    string(REGEX REPLACE "libsqlite3-0( \\([^)]*\\))?" "libsqlite3-0 (>= 3.37)" control "${control}")
    file(WRITE ${work}/DEBIAN/control "${control}")
    file(CHMOD ${folders} PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
        GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
    file(CHMOD ${work}/DEBIAN/control ${work}/DEBIAN/md5sums PERMISSIONS ${for_all})

    # Sorted, with SOURCE_DATE_EPOCH as the latest time.
    execute_process(COMMAND dpkg-deb --root-owner-group -Zgzip -z9 --build ${work} ${package}
        OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
endforeach()
file(REMOVE_RECURSE ${work})
