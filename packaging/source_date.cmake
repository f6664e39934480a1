# Run by cpack before each generator: the time that all files in the packages get. It is
# SOURCE_DATE_EPOCH where that is set, else the last commit's, else that of the version.
set(version_date 1793491200) # 2026-11-01

if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
    set(ENV{SOURCE_DATE_EPOCH} ${version_date})
    if(EXISTS ${CPACK_ORVA_SOURCE_DIR}/.git)
        execute_process(
            COMMAND git -C ${CPACK_ORVA_SOURCE_DIR} log -1 --format=%ct
            OUTPUT_VARIABLE commit_date OUTPUT_STRIP_TRAILING_WHITESPACE
            RESULT_VARIABLE failed ERROR_VARIABLE message)
        if(failed)
            message(WARNING "Packages get the version's date, not the last commit's: ${message}")
        else()
            set(ENV{SOURCE_DATE_EPOCH} ${commit_date})
        endif()
    endif()
endif()
