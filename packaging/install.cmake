# What a system takes besides programs: units, users, files made at boot, completion.

# Below lib whatever the processor's libraries are below: systemd reads it there.
install(DIRECTORY packaging/tmpfiles.d DESTINATION lib COMPONENT shell)
install(DIRECTORY packaging/sysusers.d DESTINATION lib)
configure_file(packaging/systemd/tarnd-gateway@.service.in packaging/tarnd-gateway@.service @ONLY)
install(FILES ${CMAKE_BINARY_DIR}/packaging/tarnd-gateway@.service
        DESTINATION lib/systemd/system)

# One file for the host's programs: it completes the one by whose name bash finds it.
set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES packaging/bash-completion/vandel DESTINATION ${completions} COMPONENT shell)
foreach(tool schemac tarnd-gateway ${tools})
  get_filename_component(name ${tool} NAME)
  install(FILES packaging/bash-completion/host DESTINATION ${completions} RENAME ${name})
endforeach()
