# Sets orva_same_settings: how this build was configured, for tests that configure another.
set(orva_same_settings -DCMAKE_BUILD_TYPE=${CMAKE_BUILD_TYPE} -DCMAKE_CXX_COMPILER=${CMAKE_CXX_COMPILER})
foreach(name CMAKE_TOOLCHAIN_FILE CMAKE_CXX_FLAGS ORVA_FLOAT_ABI ORVA_CROSS_PREFIX ORVA_ARM_CPU_FLAGS
        ORVA_CXX11_ABI ORVA_STATIC_CXX ORVA_OPTIMIZE ORVA_SANITIZE ORVA_UNITY ORVA_WERROR)
    if(DEFINED CACHE{${name}})
        list(APPEND orva_same_settings "-D${name}=$CACHE{${name}}")
    endif()
endforeach()
