# A storey: one folder, one static library.
#
# vandel_storey(NAME STANDS_ON library... SOURCES file...) makes the library NAME of
# the folder NAME. It finds the headers of its own folder and of those that it stands
# on, by their paths from the root, and no others: each folder is put on the include
# path through a directory that holds a link to it alone.

function(vandel_storey_include target folder)
  set(door ${CMAKE_BINARY_DIR}/storeys/${folder})
  file(MAKE_DIRECTORY ${door})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder} ${door}/${folder} SYMBOLIC)
  get_target_property(type ${target} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    target_include_directories(${target} INTERFACE ${door})
  else()
    target_include_directories(${target} PUBLIC ${door})
  endif()
endfunction()

function(vandel_storey name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "STANDS_ON;SOURCES")
  add_library(${name} STATIC ${arg_SOURCES})
  vandel_storey_include(${name} ${name})
  target_link_libraries(${name} PUBLIC ${arg_STANDS_ON} PRIVATE vandel_options)
endfunction()
