# An application manifest in the executable's resources. Its UTF-8 code page makes the text that
# meets the C runtime and the system's narrow functions (argv, file names of the log, the event
# log's records, the path the stack-trace lookup opens) the UTF-8 this program holds everywhere.
# `level` is the execution level the program asks for: raw sockets need requireAdministrator.
enable_language(RC)

function(hopr_embed_manifest target level)
  set(HOPR_EXECUTION_LEVEL "${level}")
  set(manifest "${CMAKE_CURRENT_BINARY_DIR}/${target}.manifest")
  set(resource "${CMAKE_CURRENT_BINARY_DIR}/${target}-manifest.rc")
  configure_file("${PROJECT_SOURCE_DIR}/cmake/windows-manifest.xml.in" "${manifest}" @ONLY)
  # 1 = the process's own manifest, 24 = RT_MANIFEST.
  file(CONFIGURE OUTPUT "${resource}" CONTENT "1 24 \"${manifest}\"\n")
  set_source_files_properties("${resource}" PROPERTIES OBJECT_DEPENDS "${manifest}")
  target_sources(${target} PRIVATE "${resource}")
endfunction()
