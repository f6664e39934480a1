# Flags for all of our own code.

set(CMAKE_CXX_FLAGS_RELEASE "-O2 -DNDEBUG -ffunction-sections -fdata-sections")
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)

add_compile_options(
    -Wall -Wextra -Wpedantic -Werror
    -Wshadow -Wconversion -Wsign-conversion -Wold-style-cast -Wcast-align -Wcast-qual
    -Wnon-virtual-dtor -Woverloaded-virtual -Wformat=2 -Wundef -Wunused
    -finput-charset=UTF-8 -fexec-charset=UTF-8
    -fstack-protector-strong)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    add_compile_options(-Wduplicated-cond -Wlogical-op -Wuseless-cast)
    # Unique symbols would keep a library loaded for ever and join two copies of it.
    add_compile_options(-fno-gnu-unique)
endif()

if(ORVA_SANITIZE)
    add_compile_options(-fsanitize=${ORVA_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${ORVA_SANITIZE})
else()
    add_compile_options($<$<CONFIG:Release>:-D_FORTIFY_SOURCE=2>)
endif()
