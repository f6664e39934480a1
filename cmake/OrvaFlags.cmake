# Flags for all of our own code. Its warnings stand in orva_warnings: OrvaPlatform.cmake
# adds them, because another platform's sources have those that they ask for themselves.
option(ORVA_WERROR "Warnings are errors: for whoever changes the driver; the presets set it" OFF)

# The panel's flash is small and its processor waits for the network: size first there.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^arm")
    set(ORVA_OPTIMIZE s CACHE STRING "Optimisation of the Release build: 0, 1, 2, 3 or s")
else()
    set(ORVA_OPTIMIZE 2 CACHE STRING "Optimisation of the Release build: 0, 1, 2, 3 or s")
endif()

# What the runtime that loads the driver decides.
set(ORVA_CXX11_ABI "" CACHE STRING
    "std::string of the runtime: 1 or 0 as its _GLIBCXX_USE_CXX11_ABI; empty for the compiler's own")
option(ORVA_STATIC_CXX "Link libstdc++ and libgcc into the driver and the service; not with ORVA_CXX11_ABI=0" OFF)

set(CMAKE_CXX_FLAGS_RELEASE "-O${ORVA_OPTIMIZE} -DNDEBUG -ffunction-sections -fdata-sections")
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

set(orva_warnings
    -Wall -Wextra -Wpedantic
    -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wcast-qual
    -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wunused)
if(ORVA_WERROR)
    list(APPEND orva_warnings -Werror)
endif()
add_compile_options(-finput-charset=UTF-8 -fexec-charset=UTF-8 -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    list(APPEND orva_warnings -Wduplicated-cond -Wlogical-op)
    if(CMAKE_SIZEOF_VOID_P EQUAL 8)
        # Casts from size_t to 32 bits are needed here and useless only on the panel.
        list(APPEND orva_warnings -Wuseless-cast)
    else()
        # Notes about what g++ before 7.1 passed otherwise; all of the driver has one compiler.
        add_compile_options(-Wno-psabi)
    endif()
    # Unique symbols would keep a library loaded for ever and join two copies of it.
    add_compile_options(-fno-gnu-unique)
endif()

if(ORVA_SANITIZE)
    add_compile_options(-fsanitize=${ORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ORVA_SANITIZE})
elseif(NOT ORVA_OPTIMIZE STREQUAL "0")
    add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()

if(ORVA_STATIC_CXX AND ORVA_CXX11_ABI STREQUAL "0")
    # Every empty string of that ABI is one object of the library: a second library frees it.
    message(FATAL_ERROR "ORVA_CXX11_ABI=0 needs the runtime's own libstdc++: not with ORVA_STATIC_CXX=ON")
endif()
if(NOT ORVA_CXX11_ABI STREQUAL "")
    add_compile_definitions(_GLIBCXX_USE_CXX11_ABI=${ORVA_CXX11_ABI})
endif()

# For what goes to the panel: the driver and the service.
function(orva_static_cxx target)
    if(ORVA_STATIC_CXX)
        target_link_options(${target} PRIVATE -static-libstdc++ -static-libgcc)
    endif()
endfunction()
