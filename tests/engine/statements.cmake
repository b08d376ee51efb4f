vemo_add_test(engine_statement_test
    SOURCES
        CreateDropAlterTest.cpp
        InsertTest.cpp
        SelectTest.cpp
        StatementIntakeTest.cpp
        UpdateDeleteTest.cpp
    LIBRARIES vemofilesubscriptiondb_objects)
