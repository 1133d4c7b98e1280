# Build helpers shared by every subsystem directory.
#
# kvr2_subsystem(<name> [USES <lower subsystems...>] SOURCES <sources...>)
# makes one OBJECT library per subsystem; the shared object and the static
# archive the tests link are both assembled from the full list of them.
#
# Layers only look down.  A subsystem's sources see include/ (the public
# headers), base/, their own folder and the folders named after USES, and
# nothing else: each subsystem gets an include root of its own in the build
# tree holding links to exactly those folders, so that an include of a
# higher layer ("verbs/devices.h" from the frame) does not compile.

set(KVR2_EXPORTS_FILE ${CMAKE_SOURCE_DIR}/cmake/exports.txt)
set_property(DIRECTORY ${CMAKE_SOURCE_DIR} APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${KVR2_EXPORTS_FILE})

function(kvr2_subsystem name)
  cmake_parse_arguments(S "" "" "USES;SOURCES" ${ARGN})
  add_library(kvr2_${name} OBJECT ${S_SOURCES})
  set(root ${CMAKE_BINARY_DIR}/layers/${name})
  file(REMOVE_RECURSE ${root})
  file(MAKE_DIRECTORY ${root})
  get_filename_component(own ${CMAKE_CURRENT_SOURCE_DIR} NAME)
  foreach(dir IN LISTS S_USES ITEMS base ${own})
    if(NOT EXISTS ${root}/${dir})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${dir} ${root}/${dir} SYMBOLIC)
    endif()
  endforeach()
  target_include_directories(kvr2_${name} PRIVATE ${CMAKE_SOURCE_DIR}/include ${root})
  # -Wmissing-declarations: an entry point defined without its public
  # declaration in sight could drift from what compiled code is told.
  target_compile_options(kvr2_${name} PRIVATE
    $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti -Wmissing-declarations>)
  set_property(GLOBAL APPEND PROPERTY KVR2_OBJECT_LIBS kvr2_${name})
endfunction()

# Library-wide link dependencies added by subsystems (ICU, libdfp, ...).
function(kvr2_link_libraries)
  set_property(GLOBAL APPEND PROPERTY KVR2_LINK_LIBS ${ARGN})
endfunction()

# The version script comes from the one export table, cmake/exports.txt:
# "<node> <symbol>" per line.  Nodes are chained in the order below.
function(kvr2_version_script out)
  file(STRINGS ${KVR2_EXPORTS_FILE} lines REGEX "^[^#]")
  set(nodes KVR2_5.1.0 KVR2_6.1.0 KVR2_Next)
  foreach(n IN LISTS nodes)
    set(syms_${n} "")
  endforeach()
  foreach(line IN LISTS lines)
    string(STRIP "${line}" line)
    if(line STREQUAL "")
      continue()
    endif()
    string(REGEX MATCH "^([^ \t]+)[ \t]+([^ \t]+)$" m "${line}")
    if(NOT m)
      message(FATAL_ERROR "exports.txt: bad line '${line}'")
    endif()
    set(node ${CMAKE_MATCH_1})
    if(NOT node IN_LIST nodes)
      message(FATAL_ERROR "exports.txt: unknown version node ${node}")
    endif()
    string(APPEND syms_${node} "    ${CMAKE_MATCH_2};\n")
  endforeach()
  set(text "")
  set(prev "")
  foreach(n IN LISTS nodes)
    if(prev STREQUAL "")
      string(APPEND text "${n} {\n  global:\n${syms_${n}}  local: *;\n};\n")
    else()
      if(syms_${n} STREQUAL "")
        string(APPEND text "${n} { } ${prev};\n")
      else()
        string(APPEND text "${n} {\n  global:\n${syms_${n}}} ${prev};\n")
      endif()
    endif()
    set(prev ${n})
  endforeach()
  file(GENERATE OUTPUT ${out} CONTENT "${text}")
endfunction()

function(kvr2_assemble_library)
  get_property(objlibs GLOBAL PROPERTY KVR2_OBJECT_LIBS)
  get_property(linklibs GLOBAL PROPERTY KVR2_LINK_LIBS)
  set(objs "")
  foreach(l IN LISTS objlibs)
    list(APPEND objs $<TARGET_OBJECTS:${l}>)
  endforeach()
  set(vscript ${CMAKE_BINARY_DIR}/kvr2_64r.map)
  kvr2_version_script(${vscript})

  add_library(kvr2_64r SHARED ${objs})
  set_target_properties(kvr2_64r PROPERTIES
    OUTPUT_NAME kvr2_64r
    LIBRARY_OUTPUT_DIRECTORY ${KVR2_LIBDIR}
    LINK_DEPENDS ${vscript})
  target_include_directories(kvr2_64r INTERFACE ${CMAKE_SOURCE_DIR}/include)
  # The library can also be run as a program (see frame/elfentry.cpp).
  target_link_options(kvr2_64r PRIVATE
    -Wl,--version-script=${vscript} -Wl,-e,zvkElfEntry -Wl,-z,defs -Wl,--no-undefined)
  target_link_libraries(kvr2_64r PRIVATE ${linklibs} dl pthread)

  # Tests link the same objects statically to reach internal routines.
  add_library(kvr2_internal STATIC ${objs})
  target_include_directories(kvr2_internal PUBLIC ${CMAKE_SOURCE_DIR}/include ${CMAKE_SOURCE_DIR})
  target_link_libraries(kvr2_internal PUBLIC ${linklibs} dl pthread)

  install(TARGETS kvr2_64r LIBRARY DESTINATION lib)
  install(DIRECTORY include/kvr2 DESTINATION include)
endfunction()

# Builds the message catalog with gencat into <build>/usr/share/locale/C,
# where the constructor's derived NLSPATH entry points for a library in
# <build>/lib.  The install follows the same derivation.
function(kvr2_message_catalog src)
  set(cat ${KVR2_LOCALEDIR}/C/kvr2run.cat)
  add_custom_command(OUTPUT ${cat}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${KVR2_LOCALEDIR}/C
    COMMAND ${CMAKE_COMMAND} -E rm -f ${cat}
    COMMAND gencat ${cat} ${src}
    DEPENDS ${src}
    COMMENT "gencat kvr2run.cat")
  add_custom_target(kvr2_catalog ALL DEPENDS ${cat})
  add_dependencies(kvr2_64r kvr2_catalog)
  # The library in <prefix>/lib (or /usr/lib) looks in <prefix>/usr/share/locale
  # (or /usr/share/locale): decide at install time, when the prefix is known.
  install(CODE "
    # file(INSTALL) puts DESTDIR in front of an absolute destination itself.
    set(_p \"\${CMAKE_INSTALL_PREFIX}\")
    if(CMAKE_INSTALL_PREFIX MATCHES \"/usr/?$\")
      set(_d \"\${_p}/share/locale/C\")
    else()
      set(_d \"\${_p}/usr/share/locale/C\")
    endif()
    file(INSTALL \"${cat}\" DESTINATION \"\${_d}\")
  ")
endfunction()
