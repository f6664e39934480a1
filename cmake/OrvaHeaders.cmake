# orva_header_only(TARGET PACKAGE:HEADER...)
#
# Gives a target header-only libraries of Debian packages, and nothing else of the build
# machine's include folder: in a cross build that one belongs to another processor.
# The named headers' folders are linked into a folder of their own.
function(orva_header_only target)
    set(folder ${PROJECT_BINARY_DIR}/header-only/${target})
    file(MAKE_DIRECTORY ${folder})
    foreach(needed ${ARGN})
        string(REPLACE ":" ";" needed ${needed})
        list(GET needed 0 package)
        list(GET needed 1 header)
        find_path(found ${header} NO_CACHE NO_CMAKE_FIND_ROOT_PATH)
        if(NOT found)
            message(FATAL_ERROR "${header} is missing: install Debian's ${package}")
        endif()
        # The header's folder: of CLI/CLI.hpp, CLI.
        cmake_path(GET header PARENT_PATH entry)
        file(CREATE_LINK ${found}/${entry} ${folder}/${entry} SYMBOLIC)
        unset(found)
    endforeach()
    target_include_directories(${target} SYSTEM PUBLIC ${folder})
endfunction()
