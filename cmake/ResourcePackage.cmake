# drivetest_texts(TARGET NAME DIR): builds NAME.qpk beside the module from DIR (LANGUAGE.json, or a folder LANGUAGE of
# files; settings.json the settings).
function(drivetest_texts target name dir)
    file(GLOB inputs CONFIGURE_DEPENDS ${dir}/*.json ${dir}/*/*.json)
    set(folder ${CMAKE_LIBRARY_OUTPUT_DIRECTORY})
    if(NOT folder)
        set(folder ${CMAKE_CURRENT_BINARY_DIR})
    endif()
    set(output ${folder}/${name}.qpk)
    set(script ${CMAKE_CURRENT_FUNCTION_LIST_DIR}/BuildResourcePackage.cmake)
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DNAME=${name} -DDIR=${dir} -DOUTPUT=${output} -P ${script}
        DEPENDS ${inputs} ${script}
        VERBATIM)
    add_custom_target(${target} ALL DEPENDS ${output})
endfunction()
