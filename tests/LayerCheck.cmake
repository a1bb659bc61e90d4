# Fails when a file includes a header from a higher layer. Layers, lowest first: the core's
# folders (VANTOR_CORE_LAYERS), then the application's services, then the window and the command
# line. Run as: cmake -DSOURCE_DIR=... -DCORE_LAYERS=a;b;... -P LayerCheck.cmake
set(rank 0)
foreach(layer IN LISTS CORE_LAYERS)
  set(rank_${layer} ${rank})
  math(EXPR rank "${rank} + 1")
endforeach()
set(rank_state 19)
set(rank_queue 20)
set(rank_automation 22) # until the watch folders stop including the workspace
set(rank_workspace 22)
set(rank_selftest 23)
foreach(top IN ITEMS models pages widgets ui cli)
  set(rank_${top} 30)
endforeach()

file(GLOB_RECURSE sources RELATIVE ${SOURCE_DIR}
  ${SOURCE_DIR}/core/*.h ${SOURCE_DIR}/core/*.cpp
  ${SOURCE_DIR}/app/*.h ${SOURCE_DIR}/app/*.cpp
  ${SOURCE_DIR}/cli/*.h ${SOURCE_DIR}/cli/*.cpp)
set(violations "")
foreach(source IN LISTS sources)
  if(source MATCHES "^core/([^/]+)/")
    set(own ${CMAKE_MATCH_1})
  elseif(source MATCHES "^app/ui/" OR source MATCHES "^cli/")
    set(own ui)
  elseif(source MATCHES "^app/([^/]+)/")
    set(own ${CMAKE_MATCH_1})
  else()
    set(own queue) # app/AppInfo: the application's lowest layer
  endif()
  if(NOT DEFINED rank_${own})
    list(APPEND violations "${source}: its folder has no layer")
    continue()
  endif()
  file(STRINGS ${SOURCE_DIR}/${source} includes REGEX "^#include \"[A-Za-z]+/")
  foreach(line IN LISTS includes)
    string(REGEX MATCH "\"([A-Za-z]+)/" _ "${line}")
    set(target ${CMAKE_MATCH_1})
    if(DEFINED rank_${target} AND rank_${target} GREATER rank_${own})
      list(APPEND violations "${source}: ${line}")
    endif()
  endforeach()
endforeach()
if(violations)
  list(JOIN violations "\n  " text)
  message(FATAL_ERROR "Includes from a higher layer:\n  ${text}")
endif()
