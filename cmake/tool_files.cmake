# What is installed beside the tool and the simulator: manual pages, documents, the report's schema, completions.
foreach(page IN ITEMS tessary tessary-board)
  configure_file(docs/${page}.1 ${PROJECT_BINARY_DIR}/man/${page}.1 @ONLY)
  execute_process(COMMAND gzip -9nfk ${PROJECT_BINARY_DIR}/man/${page}.1)
  install(FILES ${PROJECT_BINARY_DIR}/man/${page}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tool)
endforeach()
install(FILES README.md CHANGELOG.md SECURITY.md docs/json.md docs/simulator.md docs/report.schema.json
  DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tool)

set(bash_completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
set(zsh_completions ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES simulator/completions/tessary-board.bash DESTINATION ${bash_completions} RENAME tessary-board COMPONENT tool)
install(FILES simulator/completions/tessary-board.zsh DESTINATION ${zsh_completions} RENAME _tessary-board COMPONENT tool)
# The tool prints its own, from its table of options, where it can run here.
if(NOT CMAKE_CROSSCOMPILING)
  set(printed ${PROJECT_BINARY_DIR}/completions)
  install(CODE "
    file(MAKE_DIRECTORY ${printed})
    foreach(shell IN ITEMS bash zsh)
      execute_process(COMMAND $<TARGET_FILE:tessary_tool> completion \${shell}
        OUTPUT_FILE ${printed}/tessary.\${shell} ERROR_QUIET RESULT_VARIABLE result)
      if(NOT result EQUAL 0)
        file(REMOVE ${printed}/tessary.\${shell})
      endif()
    endforeach()" COMPONENT tool)
  install(FILES ${printed}/tessary.bash DESTINATION ${bash_completions} RENAME tessary COMPONENT tool OPTIONAL)
  install(FILES ${printed}/tessary.zsh DESTINATION ${zsh_completions} RENAME _tessary COMPONENT tool OPTIONAL)
endif()
