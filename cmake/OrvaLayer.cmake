# orva_layer(NAME SOURCES file... [LINKS layer...])
#
# One folder of the driver as a target of the folder's name. Besides the static
# library a throw-away shared one is linked from the folder's objects and the
# named lower layers alone: a call into any other layer fails that link.
function(orva_layer name)
    cmake_parse_arguments(ARG "" "" "SOURCES;LINKS" ${ARGN})
    add_library(${name} STATIC ${ARG_SOURCES})
    orva_root_includes(${name})
    target_link_libraries(${name} PUBLIC ${ARG_LINKS})
    if(NOT ORVA_SANITIZE)
        add_library(${name}_links_only_downwards SHARED $<TARGET_OBJECTS:${name}>)
        target_link_libraries(${name}_links_only_downwards PRIVATE ${ARG_LINKS})
        target_link_options(${name}_links_only_downwards PRIVATE -Wl,-z,defs)
        set_target_properties(${name}_links_only_downwards PROPERTIES
            LINKER_LANGUAGE CXX
            LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/checks)
    endif()
endfunction()

# Includes are written from the root. Of another platform folder the driver's own folders
# come from orva_headers, which has no platform/ of ours: a header that is missing there is
# not found at all. That folder's headers are the runtime's, so no warnings of ours in them.
function(orva_root_includes name)
    target_include_directories(${name} PUBLIC ${orva_headers})
    if(NOT ORVA_OWN_PLATFORM)
        cmake_path(GET ORVA_PLATFORM_DIR PARENT_PATH platform_parent)
        target_include_directories(${name} SYSTEM PUBLIC ${platform_parent})
    endif()
endfunction()
