# The sort engine against GNU sort on the same file, budget and cores.
add_executable(sort_engine_bench ${CMAKE_CURRENT_LIST_DIR}/sort_engine_bench.cpp)
target_link_libraries(sort_engine_bench PRIVATE benchmark::benchmark dl)
target_include_directories(sort_engine_bench PRIVATE ${CMAKE_SOURCE_DIR}/include)
target_compile_definitions(sort_engine_bench PRIVATE KVR2_ENGINE_PATH="$<TARGET_FILE:vortlite>")
add_dependencies(sort_engine_bench vortlite)
