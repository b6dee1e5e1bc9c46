# resource_package(TARGET NAME DIR): builds NAME.qpk beside the program from DIR/*.json (one file a
# language, settings.json the settings).
function(resource_package target name dir)
    file(GLOB inputs CONFIGURE_DEPENDS ${dir}/*.json)
    set(output ${CMAKE_RUNTIME_OUTPUT_DIRECTORY}/${name}.qpk)
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DNAME=${name} -DDIR=${dir} -DOUTPUT=${output}
                -P ${CMAKE_SOURCE_DIR}/cmake/BuildResourcePackage.cmake
        DEPENDS ${inputs} ${CMAKE_SOURCE_DIR}/cmake/BuildResourcePackage.cmake
        VERBATIM)
    add_custom_target(${target} ALL DEPENDS ${output})
endfunction()
