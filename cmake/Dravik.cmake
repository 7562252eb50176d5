# Shared helpers for the folder libraries and their tests.

# One static library per folder, built from every source of that folder.
# A folder with no sources yet becomes an interface library so the tree always configures.
function(dravik_folder_library name)
  cmake_parse_arguments(ARG "" "" "LINK;EXCLUDE" ${ARGN})
  file(GLOB sources CONFIGURE_DEPENDS
       ${CMAKE_CURRENT_SOURCE_DIR}/*.cpp ${CMAKE_CURRENT_SOURCE_DIR}/*.h
       ${CMAKE_CURRENT_SOURCE_DIR}/*.ui)
  foreach(ex IN LISTS ARG_EXCLUDE)
    list(REMOVE_ITEM sources ${CMAKE_CURRENT_SOURCE_DIR}/${ex})
  endforeach()
  set(has_cpp OFF)
  foreach(s IN LISTS sources)
    if(s MATCHES "\\.cpp$")
      set(has_cpp ON)
    endif()
  endforeach()
  if(has_cpp)
    add_library(${name} STATIC ${sources})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} PUBLIC ${ARG_LINK})
    target_compile_definitions(${name} PUBLIC
      DRAVIK_APP_VERSION="${DRAVIK_APP_VERSION}")
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR})
    target_link_libraries(${name} INTERFACE ${ARG_LINK})
  endif()
endfunction()

# Every tst_*.cpp of a test folder is its own QtTest program, registered with ctest.
# Tests run on the offscreen platform so they need no display.
function(dravik_qt_tests)
  cmake_parse_arguments(ARG "" "" "LINK" ${ARGN})
  file(GLOB tests CONFIGURE_DEPENDS ${CMAKE_CURRENT_SOURCE_DIR}/tst_*.cpp)
  foreach(t IN LISTS tests)
    get_filename_component(n ${t} NAME_WE)
    add_executable(${n} ${t})
    target_link_libraries(${n} PRIVATE Qt6::Test ${ARG_LINK})
    set_target_properties(${n} PROPERTIES RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/tests)
    add_test(NAME ${n} COMMAND ${n})
    set_tests_properties(${n} PROPERTIES
      ENVIRONMENT "QT_QPA_PLATFORM=offscreen;DRAVIK_BIN_DIR=${CMAKE_BINARY_DIR}/bin;DRAVIK_CORPUS_DIR=${CMAKE_SOURCE_DIR}/../shared/corpus"
      TIMEOUT 600)
  endforeach()
endfunction()
