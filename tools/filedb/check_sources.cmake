# The commands `check` and `repair`.
set(FILEDB_CHECK_SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/AsideDirectory.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Check.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DirectoryExamination.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DirectoryRepair.cpp
    ${CMAKE_CURRENT_LIST_DIR}/DurableFiles.cpp
    ${CMAKE_CURRENT_LIST_DIR}/FindingsReport.cpp
    ${CMAKE_CURRENT_LIST_DIR}/JournalExamination.cpp
    ${CMAKE_CURRENT_LIST_DIR}/JournalUsers.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Printable.cpp
    ${CMAKE_CURRENT_LIST_DIR}/RawFile.cpp
    ${CMAKE_CURRENT_LIST_DIR}/Repair.cpp
    ${CMAKE_CURRENT_LIST_DIR}/StoredForm.cpp
    ${CMAKE_CURRENT_LIST_DIR}/TableExamination.cpp)
