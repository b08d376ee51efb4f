vemo_add_test(engine_transaction_test
    SOURCES
        DatabaseDirectoryTest.cpp
        DamagedFileTest.cpp
        LocaleTest.cpp
        RecoveryTest.cpp
        TransactionTest.cpp
    LIBRARIES vemofilesubscriptiondb_objects)

vemo_add_test(engine_story_test
    SOURCES ConcurrencyTest.cpp ModelTest.cpp
    LIBRARIES vemofilesubscriptiondb_objects)

vemo_add_test(engine_crash_test
    SOURCES CrashTest.cpp FaultLayer.cpp
    LIBRARIES vemofilesubscriptiondb_objects)
# Every call of these goes through FaultLayer.cpp. The names with 64 are those that large file offsets give.
foreach(call open open64 fdopen fclose fflush pread pread64 pwrite pwrite64 ftruncate ftruncate64 fstat fstat64 remove)
    target_link_options(engine_crash_test PRIVATE "LINKER:--wrap=${call}")
endforeach()
