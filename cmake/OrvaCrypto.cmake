# The target orva_crypto: OpenSSL's libcrypto, for the service alone. In a cross build it is
# the one that scripts/armv7-root.sh has fetched, or what the two variables name; without it
# the service is left out, because the driver must not need it.
if(ORVA_ARM_ROOT)
    set(where NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_library(ORVA_CRYPTO_LIBRARY crypto PATHS ${ORVA_ARM_ROOT}/usr/lib/arm-linux-gnueabihf ${where})
    find_path(ORVA_CRYPTO_HEADERS openssl/x509.h PATHS ${ORVA_ARM_ROOT}/headers ${where})
endif()
find_library(ORVA_CRYPTO_LIBRARY crypto DOC "libcrypto of OpenSSL 3")
find_path(ORVA_CRYPTO_HEADERS openssl/x509.h DOC "Folder of openssl/x509.h")
mark_as_advanced(ORVA_CRYPTO_LIBRARY ORVA_CRYPTO_HEADERS)

if(ORVA_CRYPTO_LIBRARY AND ORVA_CRYPTO_HEADERS)
    add_library(orva_crypto INTERFACE)
    target_link_libraries(orva_crypto INTERFACE ${ORVA_CRYPTO_LIBRARY})
    target_include_directories(orva_crypto SYSTEM INTERFACE ${ORVA_CRYPTO_HEADERS})
elseif(NOT CMAKE_CROSSCOMPILING)
    message(FATAL_ERROR "openssl/x509.h or libcrypto is missing: install Debian's libssl-dev")
elseif(ORVA_ARM_ROOT)
    message(NOTICE "orva-vpnd and its tests are left out: no libcrypto for ARM; scripts/armv7-root.sh ${ORVA_ARM_ROOT} fetches it, then configure again")
else()
    message(NOTICE "orva-vpnd and its tests are left out: no libcrypto for this processor; ORVA_CRYPTO_LIBRARY and ORVA_CRYPTO_HEADERS can name one")
endif()
