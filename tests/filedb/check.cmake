# The commands `check` and `repair`, driven as a person drives them.
find_package(nlohmann_json REQUIRED)
add_library(filedb_check_test_support STATIC CheckTestSupport.cpp)
target_compile_definitions(filedb_check_test_support PRIVATE FILEDB_PROGRAM="$<TARGET_FILE:filedb>")
target_link_libraries(filedb_check_test_support PUBLIC vemo_test_support GTest::gmock)

add_executable(filedb_crash_writer CrashWriter.cpp)
target_link_libraries(filedb_crash_writer PRIVATE vemofilesubscriptiondb_objects)

vemo_add_test(filedb_check_test SOURCES CheckTest.cpp LIBRARIES filedb_check_test_support nlohmann_json::nlohmann_json)
vemo_add_test(filedb_repair_test SOURCES RepairTest.cpp LIBRARIES filedb_check_test_support)
vemo_add_test(filedb_crash_repair_test SOURCES CrashRepairTest.cpp
    LIBRARIES filedb_check_test_support vemofilesubscriptiondb_objects)
target_compile_definitions(filedb_crash_repair_test
    PRIVATE CRASH_WRITER="$<TARGET_FILE:filedb_crash_writer>")
add_dependencies(filedb_check_test filedb)
add_dependencies(filedb_repair_test filedb)
add_dependencies(filedb_crash_repair_test filedb filedb_crash_writer)
