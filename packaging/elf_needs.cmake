# Included by cpack's scripts: what a program or library asks of the system it runs on.

# elf_needs(FILES PREFIX): sets PREFIX_LIBRARIES to the names of the libraries that FILES need,
# PREFIX_GLIBC, PREFIX_GLIBCXX, PREFIX_GCC and PREFIX_OPENSSL to the highest version of their
# symbols that they use, empty for none.
function(elf_needs files prefix)
    foreach(what d V)
        execute_process(COMMAND ${CMAKE_COMMAND} -E env LC_ALL=C ${CPACK_ORVA_READELF} -${what} ${files}
            OUTPUT_VARIABLE said_${what} COMMAND_ERROR_IS_FATAL ANY)
    endforeach()
    string(REPLACE "[" "<" said_d "${said_d}") # a list element must not have half a bracket
    string(REPLACE "]" ">" said_d "${said_d}")
    string(REGEX MATCHALL "Shared library: <[^>]*" libraries "${said_d}")
    list(TRANSFORM libraries REPLACE "^.*<" "")
    list(REMOVE_DUPLICATES libraries)
    set(${prefix}_LIBRARIES "${libraries}" PARENT_SCOPE)
    foreach(name GLIBC GLIBCXX GCC OPENSSL)
        string(REGEX MATCHALL "Name: ${name}_[0-9.]+" versions "${said_V}")
        list(TRANSFORM versions REPLACE "^.*_" "")
        set(highest "")
        if(versions)
            list(SORT versions COMPARE NATURAL ORDER DESCENDING)
            list(GET versions 0 highest)
        endif()
        set(${prefix}_${name} "${highest}" PARENT_SCOPE)
    endforeach()
endfunction()

# elf_depends(FILES VARIABLE): the same as the Depends of a Debian package.
function(elf_depends files variable)
    elf_needs("${files}" needs)
    set(depends "libc6 (>= ${needs_GLIBC})")
    if(needs_GCC)
        string(APPEND depends ", libgcc-s1 (>= ${needs_GCC})")
    endif()
    if(needs_GLIBCXX)
        # The package that first had GLIBCXX_3.4.21, 22 and so on.
        set(since_21 5.2 6 7 7.2 8 9 9.2 9.3 11 12 13.1 13.2 14)
        string(REGEX REPLACE "^3\\.4\\.?" "" minor "${needs_GLIBCXX}")
        if(minor STREQUAL "" OR minor LESS 21)
            set(package 4.9)
        else()
            math(EXPR index "${minor} - 21")
            list(GET since_21 ${index} package)
        endif()
        string(APPEND depends ", libstdc++6 (>= ${package})")
    endif()
    if(needs_OPENSSL)
        # The same library: Debian 13 renamed it for its 64-bit times, of which we pass none.
        string(APPEND depends ", libssl3 (>= ${needs_OPENSSL}) | libssl3t64 (>= ${needs_OPENSSL})")
    endif()
    if(libsqlite3.so.0 IN_LIST needs_LIBRARIES)
        string(APPEND depends ", libsqlite3-0")
    endif()
    set(${variable} "${depends}" PARENT_SCOPE)
endfunction()
