# What every program of the product has beside its code: manifest and version resource, and how it is
# linked. The description is the one that the file's properties show.
function(complete_program program description)
  set(resources ${CMAKE_CURRENT_BINARY_DIR}/resources)
  foreach(type rc manifest)
    configure_file(${CMAKE_CURRENT_FUNCTION_LIST_DIR}/program.${type}.in
                   ${resources}/${program}.${type} @ONLY)
  endforeach()
  set_source_files_properties(${resources}/${program}.rc
                              PROPERTIES OBJECT_DEPENDS ${resources}/${program}.manifest)
  target_sources(${program} PRIVATE ${resources}/${program}.rc)
  # What each of these prevents stands in docs/releasing.md. The check of the packages reads the headers.
  if(MSVC)
    # The resource is the manifest. Libraries come from the system's directory alone
    # (LOAD_LIBRARY_SEARCH_SYSTEM32).
    target_link_options(${program} PRIVATE /MANIFEST:NO /SUBSYSTEM:CONSOLE,10.0 /GUARD:CF
                        /DEPENDENTLOADFLAG:0x800)
  else()
    target_link_options(
      ${program}
      PRIVATE
      -Wl,--tsaware
      -Wl,--major-os-version,10,--minor-os-version,0
      -Wl,--major-subsystem-version,10,--minor-subsystem-version,0
      -Wl,-Map,${CMAKE_BINARY_DIR}/${program}.map # what was linked, for the bill of materials
      $<$<CONFIG:Release>:-s>
      # With sections that begin at pages Wine maps the file instead of reading all its symbols at each start.
      $<$<CONFIG:Debug>:-Wl,--file-alignment,4096>)
  endif()
endfunction()
