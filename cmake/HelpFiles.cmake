# drivetest_help_files(TARGET): what the program tells of its own command line, below share/ as it is installed: the
# manual in each language, completions for shells. Made by the program itself, so that they agree with --help.
function(drivetest_help_files target)
    set(share ${CMAKE_BINARY_DIR}/share)
    # Nothing of the folders and the language of whoever builds.
    set(program ${CMAKE_COMMAND} -E env --unset=XDG_STATE_HOME --unset=XDG_CONFIG_HOME --unset=DRIVETEST_STATE HOME=~ $<TARGET_FILE:drivetest>)
    set(outputs "")
    foreach(language en de es fr ja zh)
        set(folder ${share}/man/${language}/man1)
        if(language STREQUAL en)
            set(folder ${share}/man/man1)
        endif()
        list(APPEND outputs ${folder}/drivetest.1)
        set(command manual --lang ${language})
        help_file(${folder}/drivetest.1)
    endforeach()
    foreach(place bash:bash-completion/completions/drivetest zsh:zsh/site-functions/_drivetest
                  fish:fish/vendor_completions.d/drivetest.fish)
        string(REGEX MATCH "^([a-z]+):(.*)$" parts ${place})
        list(APPEND outputs ${share}/${CMAKE_MATCH_2})
        set(command completion ${CMAKE_MATCH_1} --lang en)
        help_file(${share}/${CMAKE_MATCH_2})
    endforeach()
    add_custom_target(${target} ALL DEPENDS ${outputs})
endfunction()

# Of the variables "program" and "command".
macro(help_file output)
    get_filename_component(into ${output} DIRECTORY)
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${into}
        COMMAND ${program} ${command} > ${output}
        DEPENDS drivetest drivetest_words
        VERBATIM)
endmacro()
