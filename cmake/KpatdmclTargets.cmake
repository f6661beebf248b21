# One library per source folder. Sources are collected from the folder (and
# its sub-folders) so that adding a file needs no edit here.
function(kp_library name dir)
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS
       ${CMAKE_SOURCE_DIR}/${dir}/*.cpp ${CMAKE_SOURCE_DIR}/${dir}/*.c)
  list(FILTER _srcs EXCLUDE REGEX "/main\\.cpp$")
  if(_srcs)
    add_library(${name} STATIC ${_srcs})
    target_include_directories(${name} PUBLIC ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
    if(ARGN)
      target_link_libraries(${name} PUBLIC ${ARGN})
    endif()
  else()
    add_library(${name} INTERFACE)
    target_include_directories(${name} INTERFACE ${CMAKE_SOURCE_DIR} ${CMAKE_BINARY_DIR}/generated)
    if(ARGN)
      target_link_libraries(${name} INTERFACE ${ARGN})
    endif()
  endif()
endfunction()

# One GoogleTest binary per library, from tests/<dir>.
function(kp_test name dir)
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${dir}/*.cpp)
  if(NOT _srcs)
    return()
  endif()
  add_executable(${name} ${_srcs})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gtest GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
      KP_SOURCE_DIR="${CMAKE_SOURCE_DIR}" KP_BINARY_DIR="${CMAKE_BINARY_DIR}")
  gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${dir})
endfunction()
