# Node-API: the version the addons are built against and the headers.
#
# The version is declared once, in package.json ("binary": {"napi_versions"}).
# Building with NAPI_VERSION set to it hides every newer Node-API function,
# so code that would need a newer Node.js does not compile.
file(READ ${CMAKE_SOURCE_DIR}/package.json NAVINFO_PACKAGE_JSON)
string(JSON NAVINFO_NAPI_VERSION GET ${NAVINFO_PACKAGE_JSON} binary napi_versions 0)
add_compile_definitions(NAPI_VERSION=${NAVINFO_NAPI_VERSION})

# The headers, first found of: -DNODE_API_INCLUDE_DIR=...; the pinned npm
# package node-api-headers (npm ci); the headers installed with the Node.js
# found on PATH (<prefix>/include/node).
set(NODE_API_INCLUDE_DIR "" CACHE PATH "Folder holding node_api.h")
if(NOT NODE_API_INCLUDE_DIR)
  find_program(NAVINFO_NODE_EXECUTABLE node)
  set(_node_api_candidates ${CMAKE_SOURCE_DIR}/node_modules/node-api-headers/include)
  if(NAVINFO_NODE_EXECUTABLE)
    get_filename_component(_node_real ${NAVINFO_NODE_EXECUTABLE} REALPATH)
    get_filename_component(_node_prefix ${_node_real} DIRECTORY)
    list(APPEND _node_api_candidates ${_node_prefix}/../include/node)
  endif()
  foreach(_dir ${_node_api_candidates})
    if(EXISTS ${_dir}/node_api.h)
      get_filename_component(_dir ${_dir} ABSOLUTE)
      set_property(CACHE NODE_API_INCLUDE_DIR PROPERTY VALUE ${_dir})
      break()
    endif()
  endforeach()
endif()
if(NOT EXISTS ${NODE_API_INCLUDE_DIR}/node_api.h)
  message(FATAL_ERROR "Node-API headers (node_api.h) not found: run 'npm ci', install Node.js with its "
    "headers, or pass -DNODE_API_INCLUDE_DIR=<folder holding node_api.h>")
endif()
message(STATUS "Node-API ${NAVINFO_NAPI_VERSION}, headers in ${NODE_API_INCLUDE_DIR}")
