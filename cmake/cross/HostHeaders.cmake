# A library of headers alone is the same for every machine. Shows a cross build the one folder of
# such a library, because the rest of /usr/include is the building machine's.
macro(quon_host_headers package target folder)
  if(NOT TARGET ${target} AND EXISTS /usr/include/${folder})
    file(MAKE_DIRECTORY ${CMAKE_BINARY_DIR}/host-headers)
    file(CREATE_LINK /usr/include/${folder} ${CMAKE_BINARY_DIR}/host-headers/${folder} SYMBOLIC)
    add_library(${target} INTERFACE IMPORTED)
    set_target_properties(${target} PROPERTIES
      INTERFACE_INCLUDE_DIRECTORIES ${CMAKE_BINARY_DIR}/host-headers)
  endif()
  if(TARGET ${target})
    set(${package}_FOUND TRUE)
  elseif(${package}_FIND_REQUIRED)
    message(FATAL_ERROR "/usr/include/${folder} is missing: install the package of ${package}")
  endif()
endmacro()
