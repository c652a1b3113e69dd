# brask_add_test(name sources...): one GoogleTest program with the project's own main, linked to the shared
# library and registered case by case with CTest.
include(GoogleTest)
find_package(GTest REQUIRED)

function(brask_add_test Name)
    add_executable(${Name} ${ARGN} ${CMAKE_SOURCE_DIR}/tests/TestMain.cpp)
    set_target_properties(${Name} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
    target_link_libraries(${Name} PRIVATE brask GTest::gtest GTest::gmock Qt6::Test)
    target_compile_definitions(${Name} PRIVATE BRASK_SOURCE_DIR="${CMAKE_SOURCE_DIR}"
        BRASK_BINARY_DIR="${CMAKE_BINARY_DIR}")
    target_precompile_headers(${Name} REUSE_FROM base)
    gtest_discover_tests(${Name} DISCOVERY_MODE PRE_TEST PROPERTIES
        ENVIRONMENT "TSAN_OPTIONS=ignore_noninstrumented_modules=1 suppressions=${CMAKE_SOURCE_DIR}/tools/tsan.supp"
        TIMEOUT 300)
endfunction()
