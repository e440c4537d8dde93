# What the npm package runs: every shared library, Node-API module and program
# built outside the folders of tests, benchmarks and fuzz targets.
#
#   cmake --install <build> --component runtime --prefix <folder>
#
# puts them flat into one folder, where each finds the libraries beside it
# through $ORIGIN; scripts/native-build.js stages prebuilds/<platform>-<arch>/
# of the package that way.
set(NAVINFO_UNSHIPPED_DIRS
  ${CMAKE_SOURCE_DIR}/test
  ${CMAKE_SOURCE_DIR}/bench
  ${CMAKE_SOURCE_DIR}/tools/fuzz)

function(navinfo_collect_runtime_targets dir out)
  set(found)
  if(NOT dir IN_LIST NAVINFO_UNSHIPPED_DIRS)
    get_property(targets DIRECTORY ${dir} PROPERTY BUILDSYSTEM_TARGETS)
    foreach(target ${targets})
      get_target_property(type ${target} TYPE)
      if(type MATCHES "^(SHARED_LIBRARY|MODULE_LIBRARY|EXECUTABLE)$")
        list(APPEND found ${target})
      endif()
    endforeach()
    get_property(subdirs DIRECTORY ${dir} PROPERTY SUBDIRECTORIES)
    foreach(subdir ${subdirs})
      navinfo_collect_runtime_targets(${subdir} subdir_found)
      list(APPEND found ${subdir_found})
    endforeach()
  endif()
  set(${out} ${found} PARENT_SCOPE)
endfunction()

navinfo_collect_runtime_targets(${CMAKE_SOURCE_DIR} NAVINFO_RUNTIME_TARGETS)
install(TARGETS ${NAVINFO_RUNTIME_TARGETS} COMPONENT runtime
  LIBRARY DESTINATION . RUNTIME DESTINATION .)
