# One library per source folder. Sources are collected from the folder (and
# its sub-folders) so that adding a file needs no edit here.
#
#   kp_library(<target> <folder> [PUBLIC <dep>...] [PRIVATE <dep>...])
#
# PUBLIC names what the folder's headers include, PRIVATE what only its .cpp/.c files include.
# Includes are written from the source root ("foundation/string/zrunistring.h"), but a target does
# not see the whole root: each library exposes a folder of its own under build/include/<target>
# holding one link to its source folder, so a file can only include the libraries its target links
# (directly, or through their PUBLIC dependencies). scripts/check_deps.py reports the same rule
# with file and line before anything is compiled, from the list kp_write_dependencies() writes.
function(kp_expose target dir)
  set(_root ${CMAKE_BINARY_DIR}/include/${target})
  get_filename_component(_parent ${_root}/${dir} DIRECTORY)
  file(MAKE_DIRECTORY ${_parent})
  if(NOT IS_SYMLINK ${_root}/${dir})
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${dir} ${_root}/${dir} SYMBOLIC)
  endif()
  set(${target}_INCLUDE_ROOT ${_root} PARENT_SCOPE)
endfunction()

function(kp_library name dir)
  cmake_parse_arguments(PARSE_ARGV 2 _kp "" "" "PUBLIC;PRIVATE")
  if(_kp_UNPARSED_ARGUMENTS)
    message(FATAL_ERROR "kp_library(${name}): dependencies go after PUBLIC or PRIVATE: ${_kp_UNPARSED_ARGUMENTS}")
  endif()
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS
       ${CMAKE_SOURCE_DIR}/${dir}/*.cpp ${CMAKE_SOURCE_DIR}/${dir}/*.c)
  list(FILTER _srcs EXCLUDE REGEX "/main\\.cpp$")
  kp_expose(${name} ${dir})
  add_library(${name} STATIC ${_srcs})
  target_include_directories(${name} PUBLIC ${${name}_INCLUDE_ROOT})
  target_link_libraries(${name} PUBLIC ${_kp_PUBLIC} PRIVATE ${_kp_PRIVATE})
  set_target_properties(${name} PROPERTIES KP_FOLDER ${dir} KP_KIND library)
  set_property(GLOBAL APPEND PROPERTY KP_TARGETS ${name})
endfunction()

# An executable built from files of a library folder (the folder's headers stay with the library).
function(kp_executable name dir)
  cmake_parse_arguments(PARSE_ARGV 2 _kp "" "" "PRIVATE")
  list(TRANSFORM _kp_UNPARSED_ARGUMENTS PREPEND ${CMAKE_SOURCE_DIR}/${dir}/)
  add_executable(${name} ${_kp_UNPARSED_ARGUMENTS})
  target_link_libraries(${name} PRIVATE ${_kp_PRIVATE})
  set_target_properties(${name} PROPERTIES KP_FOLDER ${dir} KP_KIND executable)
  set_property(GLOBAL APPEND PROPERTY KP_TARGETS ${name})
endfunction()

# Writes build/kp_dependencies.txt, one line per fact, for scripts/check_deps.py:
#   library|executable <name> <folder>
#   source <name> <file relative to the source root>
#   public|private <name> <dependency>
# The lists are read back from the targets themselves, so a dependency added anywhere with
# target_link_libraries() is seen too. Static libraries keep their PRIVATE dependencies in
# INTERFACE_LINK_LIBRARIES as $<LINK_ONLY:...> for the final link; those are not PUBLIC.
function(kp_write_dependencies)
  get_property(_targets GLOBAL PROPERTY KP_TARGETS)
  set(_out "")
  foreach(_t ${_targets})
    get_target_property(_dir ${_t} KP_FOLDER)
    get_target_property(_kind ${_t} KP_KIND)
    string(APPEND _out "${_kind} ${_t} ${_dir}\n")
    get_target_property(_srcs ${_t} SOURCES)
    foreach(_s ${_srcs})
      file(RELATIVE_PATH _s ${CMAKE_SOURCE_DIR} ${_s})
      string(APPEND _out "source ${_t} ${_s}\n")
    endforeach()
    get_target_property(_all ${_t} LINK_LIBRARIES)
    get_target_property(_iface ${_t} INTERFACE_LINK_LIBRARIES)
    set(_public "")
    if(_iface)
      foreach(_d ${_iface})
        if(NOT _d MATCHES "^\\$<LINK_ONLY:")
          list(APPEND _public ${_d})
          string(APPEND _out "public ${_t} ${_d}\n")
        endif()
      endforeach()
    endif()
    if(_all)
      foreach(_d ${_all})
        if(NOT _d IN_LIST _public)
          string(APPEND _out "private ${_t} ${_d}\n")
        endif()
      endforeach()
    endif()
  endforeach()
  file(WRITE ${CMAKE_BINARY_DIR}/kp_dependencies.txt "${_out}")
endfunction()

# The tests that install the process's seccomp filter and Landlock rules: they need the real kernel.
set(KP_NEEDS_NATIVE_KERNEL "Sandbox.*")

# One GoogleTest binary per library, from tests/<dir>. Test helpers are included as
# "tests/<dir>/<file>.h", so the tests folder is exposed to test binaries only.
function(kp_test name dir)
  file(GLOB_RECURSE _srcs CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/tests/${dir}/*.cpp)
  if(NOT _srcs)
    return()
  endif()
  kp_expose(kp_tests tests)
  add_executable(${name} ${_srcs})
  target_include_directories(${name} PRIVATE ${kp_tests_INCLUDE_ROOT})
  target_link_libraries(${name} PRIVATE ${ARGN} GTest::gtest GTest::gmock GTest::gtest_main)
  target_compile_definitions(${name} PRIVATE
      KP_SOURCE_DIR="${CMAKE_SOURCE_DIR}" KP_BINARY_DIR="${CMAKE_BINARY_DIR}")
  # A cross-built test runs under the emulator (ctest puts it in front) and knows it from the
  # environment: a death test forks without starting the program again, which the emulator cannot.
  # The emulator refuses to install seccomp filters and Landlock rule sets, so the sandbox's tests
  # are left out there (scripts/arm64_check.sh lists them with that reason).
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 TEST_FILTER "-${KP_NEEDS_NATIVE_KERNEL}" PROPERTIES
                         LABELS ${dir} ENVIRONMENT "KPATDMCL_EMULATOR=${CMAKE_CROSSCOMPILING_EMULATOR}")
  else()
    gtest_discover_tests(${name} DISCOVERY_TIMEOUT 60 PROPERTIES LABELS ${dir})
  endif()
endfunction()
