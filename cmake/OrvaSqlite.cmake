# The target orva_sqlite: libsqlite3, for the service alone. In a cross build it is the one
# that scripts/armv7-root.sh has fetched, or what the two variables name; without it the
# service is left out, because the driver must not need it.
if(ORVA_ARM_ROOT)
    set(where NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH)
    find_library(ORVA_SQLITE_LIBRARY sqlite3 PATHS ${ORVA_ARM_ROOT}/usr/lib/arm-linux-gnueabihf ${where})
    find_path(ORVA_SQLITE_HEADERS sqlite3.h PATHS ${ORVA_ARM_ROOT}/headers ${where})
endif()
find_library(ORVA_SQLITE_LIBRARY sqlite3 DOC "libsqlite3, 3.37 or later")
find_path(ORVA_SQLITE_HEADERS sqlite3.h DOC "Folder of sqlite3.h")
mark_as_advanced(ORVA_SQLITE_LIBRARY ORVA_SQLITE_HEADERS)

if(ORVA_SQLITE_LIBRARY AND ORVA_SQLITE_HEADERS)
    add_library(orva_sqlite INTERFACE)
    target_link_libraries(orva_sqlite INTERFACE ${ORVA_SQLITE_LIBRARY})
    target_include_directories(orva_sqlite SYSTEM INTERFACE ${ORVA_SQLITE_HEADERS})
elseif(NOT CMAKE_CROSSCOMPILING)
    message(FATAL_ERROR "sqlite3.h or libsqlite3 is missing: install Debian's libsqlite3-dev")
elseif(ORVA_ARM_ROOT)
    message(NOTICE "orva-vpnd and its tests are left out: no libsqlite3 for ARM; scripts/armv7-root.sh ${ORVA_ARM_ROOT} fetches it, then configure again")
else()
    message(NOTICE "orva-vpnd and its tests are left out: no libsqlite3 for this processor; ORVA_SQLITE_LIBRARY and ORVA_SQLITE_HEADERS can name one")
endif()
