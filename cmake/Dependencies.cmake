# What more than one folder needs. A folder that alone needs something finds it itself.
find_package(Threads REQUIRED)
if(VOSTEL_COMPANION OR VOSTEL_BENCH)
    find_package(CLI11 REQUIRED)
endif()
if(VOSTEL_TESTS OR VOSTEL_BENCH)
    find_package(nlohmann_json QUIET)
endif()
