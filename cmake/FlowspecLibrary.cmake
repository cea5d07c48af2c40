# flowspec_library(<target> NAMESPACE <ns> DIR <dir> SOURCES <src>... [DEPENDS <target>...])
#
# One shared library of the project: lib<target>.so, the alias <ns>::<target>,
# headers included as "<ns>/X.h" from the parent of <dir>, and an export set
# <ns>Targets installed into the FlowspecStatedbTypes package.
set(FLOWSPEC_EXPORT_SETS "" CACHE INTERNAL "")

function(flowspec_library target)
  cmake_parse_arguments(ARG "" "NAMESPACE;DIR" "SOURCES;DEPENDS" ${ARGN})
  add_library(${target} SHARED ${ARG_SOURCES})
  add_library(${ARG_NAMESPACE}::${target} ALIAS ${target})
  get_filename_component(include_root ${ARG_DIR} DIRECTORY)
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${include_root}>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  if(ARG_DEPENDS)
    target_link_libraries(${target} PUBLIC ${ARG_DEPENDS})
  endif()
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${target}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR})
  install(TARGETS ${target} EXPORT ${ARG_NAMESPACE}Targets
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  get_filename_component(ns_dir ${ARG_DIR} NAME)
  install(DIRECTORY ${ARG_DIR}/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${ns_dir}
    FILES_MATCHING PATTERN "*.h")
  install(EXPORT ${ARG_NAMESPACE}Targets NAMESPACE ${ARG_NAMESPACE}::
    DESTINATION ${CMAKE_INSTALL_LIBDIR}/cmake/FlowspecStatedbTypes)
  set(FLOWSPEC_EXPORT_SETS ${FLOWSPEC_EXPORT_SETS} ${ARG_NAMESPACE}Targets CACHE INTERNAL "")
endfunction()

# flowspec_test(<name> SOURCES <src>... LIBS <target>... [LABELS <label>...])
# A GoogleTest executable registered with CTest, one CTest test per case,
# each carrying LABELS (the tsan preset runs the tests labelled "threads").
# With FLOWSPEC_TEST_THREAD_SAFE_PTRS the program makes every reference count
# atomic before main (tests/ThreadSafePtrs.cpp).
function(flowspec_test name)
  cmake_parse_arguments(ARG "" "" "SOURCES;LIBS;LABELS" ${ARGN})
  add_executable(${name} ${ARG_SOURCES})
  if(FLOWSPEC_TEST_THREAD_SAFE_PTRS)
    target_sources(${name} PRIVATE ${PROJECT_SOURCE_DIR}/tests/ThreadSafePtrs.cpp)
  endif()
  target_link_libraries(${name} PRIVATE ${ARG_LIBS} GTest::gtest GTest::gtest_main Threads::Threads)
  if(ARG_LABELS)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS "${ARG_LABELS}")
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60)
  endif()
endfunction()
