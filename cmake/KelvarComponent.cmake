# kelvar_component(NAME SOURCES ... [DEPENDS component ...] [LIBRARIES target ...])
#
# One folder of the library: an object library kelvar-NAME. DEPENDS names the components whose headers it may include,
# LIBRARIES the foreign libraries it uses. The library and kelvar-internal are put together from all components.
function(kelvar_component name)
  cmake_parse_arguments(arg "" "" "SOURCES;DEPENDS;LIBRARIES" ${ARGN})
  set(target kelvar-${name})
  add_library(${target} OBJECT ${arg_SOURCES})
  target_link_libraries(${target} PRIVATE kelvar-options)
  target_link_libraries(${target} PUBLIC kelvar-headers ${arg_LIBRARIES})
  foreach(dependency IN LISTS arg_DEPENDS)
    target_link_libraries(${target} PUBLIC kelvar-${dependency})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY KELVAR_COMPONENTS ${target})
  set_property(GLOBAL APPEND PROPERTY KELVAR_LIBRARIES ${arg_LIBRARIES})
endfunction()

# Gives TARGET the objects of all components, and links what they use.
function(kelvar_link_components target)
  get_property(components GLOBAL PROPERTY KELVAR_COMPONENTS)
  get_property(libraries GLOBAL PROPERTY KELVAR_LIBRARIES)
  list(REMOVE_DUPLICATES libraries)
  foreach(component IN LISTS components)
    target_sources(${target} PRIVATE $<TARGET_OBJECTS:${component}>)
  endforeach()
  target_link_libraries(${target} PRIVATE ${libraries})
endfunction()
