# The run-time side of SORT and MERGE against stand-in engines.  Each
# engine sits in a directory of its own beside a copy of the library (a
# link would resolve to the build's own directory, where the real engine
# lies), so
# that the library's own directory, searched first, holds the engine the
# scenario means (and never the real one); "none" holds no engine.
set(engines_dir ${KVR2_TEST_BIN_DIR}/sortengines)
foreach(kind recorder plain twoversions noentry reentrant none)
  file(MAKE_DIRECTORY ${engines_dir}/${kind})
endforeach()
foreach(kind recorder plain twoversions noentry reentrant)
  add_library(sortengine_${kind} MODULE ${CMAKE_CURRENT_LIST_DIR}/engine.cpp)
  target_include_directories(sortengine_${kind} PRIVATE ${CMAKE_SOURCE_DIR}/include)
  set_target_properties(sortengine_${kind} PROPERTIES PREFIX "" OUTPUT_NAME libvortlite_64r
                        LIBRARY_OUTPUT_DIRECTORY ${engines_dir}/${kind})
endforeach()
set(engine_map ${CMAKE_CURRENT_BINARY_DIR}/engine.map)
file(WRITE ${engine_map} "KVR2_6.1.0 { global: sortmerge; local: *; };\n")
foreach(kind recorder reentrant)
  target_link_options(sortengine_${kind} PRIVATE -Wl,--version-script=${engine_map})
endforeach()
target_compile_definitions(sortengine_plain PRIVATE ENGINE_UNVERSIONED)
set(two_map ${CMAKE_CURRENT_BINARY_DIR}/engine_two.map)
file(WRITE ${two_map} "KVR2_6.1.0 { global: sortmerge; local: *; };\nKVR2_OTHER { global: sortmerge; } KVR2_6.1.0;\n")
target_link_options(sortengine_twoversions PRIVATE -Wl,--version-script=${two_map})
target_compile_definitions(sortengine_twoversions PRIVATE ENGINE_TWO_VERSIONS)
target_compile_definitions(sortengine_noentry PRIVATE ENGINE_NO_ENTRY)
target_compile_definitions(sortengine_reentrant PRIVATE ENGINE_REENTRANT)
# Its code is on the stack when the runtime's end unloads it.
target_link_options(sortengine_reentrant PRIVATE -Wl,-z,nodelete)

set(link_commands "")
foreach(kind recorder plain twoversions noentry reentrant none)
  list(APPEND link_commands COMMAND ${CMAKE_COMMAND} -E copy $<TARGET_FILE:kvr2_64r>
       ${engines_dir}/${kind}/libkvr2_64r.so)
endforeach()
add_custom_target(sortengine_links ALL ${link_commands} DEPENDS kvr2_64r)

kvr2_scenario(sort_scenarios ${CMAKE_CURRENT_LIST_DIR}/sort_scenarios.cpp)
kvr2_gtest(sortmerge_test SOURCES ${CMAKE_CURRENT_LIST_DIR}/sortmerge_test.cpp
           DEPENDS sort_scenarios sortengine_links sortengine_recorder sortengine_plain sortengine_twoversions
                   sortengine_noentry
                   sortengine_reentrant)
target_compile_definitions(sortmerge_test PRIVATE SORT_ENGINES_DIR="${engines_dir}")
