# The library is built as layers: one folder, one target, linking only the layers below it.
#
# The build enforces the direction. A layer's headers are not reached through the source tree
# (which would let any target include any header) but through an include root of its own in the
# build tree, which holds links to that layer's headers alone: "modeltools/ir/IrGraph.hpp"
# resolves only in targets that link vrx_ir, and an upward include fails to compile.

set(VRX_LAYER_ROOT ${CMAKE_BINARY_DIR}/layers)

# vrx_layer(<target> <folder> [FLAT] [HEADERS_ONLY] [HEADERS <file>...] [PUBLIC <dep>...] [PRIVATE <dep>...])
#
# A static library of the .cpp files of <folder> (not of its subfolders, which are layers of
# their own). Its include root offers the folder's headers under their path from the source
# root, or with FLAT under their bare file names; HEADERS narrows them to the files named.
# A folder without sources yet, or a target that offers HEADERS_ONLY, is an interface target.
function(vrx_layer target folder)
  cmake_parse_arguments(LAYER "FLAT;HEADERS_ONLY" "" "HEADERS;PUBLIC;PRIVATE" ${ARGN})
  file(REMOVE_RECURSE ${VRX_LAYER_ROOT}/${target})
  set(sources "")
  if(NOT LAYER_HEADERS_ONLY)
    file(GLOB sources CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/${folder}/*.cpp)
  endif()
  if(LAYER_HEADERS)
    set(headers ${LAYER_HEADERS})
  else()
    file(GLOB headers CONFIGURE_DEPENDS RELATIVE ${CMAKE_SOURCE_DIR}/${folder}
         ${CMAKE_SOURCE_DIR}/${folder}/*.hpp ${CMAKE_SOURCE_DIR}/${folder}/*.h ${CMAKE_SOURCE_DIR}/${folder}/*.def)
  endif()

  set(root ${VRX_LAYER_ROOT}/${target})
  file(MAKE_DIRECTORY ${root})
  foreach(header IN LISTS headers)
    if(LAYER_FLAT)
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder}/${header} ${root}/${header} SYMBOLIC)
    else()
      file(MAKE_DIRECTORY ${root}/${folder})
      file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${folder}/${header} ${root}/${folder}/${header} SYMBOLIC)
    endif()
  endforeach()

  if(sources)
    add_library(${target} STATIC ${sources})
    target_include_directories(${target} PUBLIC $<BUILD_INTERFACE:${root}>)
    target_link_libraries(${target} PUBLIC ${LAYER_PUBLIC} PRIVATE ${LAYER_PRIVATE})
  else()
    add_library(${target} INTERFACE)
    target_include_directories(${target} INTERFACE $<BUILD_INTERFACE:${root}>)
    target_link_libraries(${target} INTERFACE ${LAYER_PUBLIC})
  endif()
endfunction()
