# page_files(TARGET): puts the files of html/page, and what curves are drawn with, into the target.
set(DYGRAPHS_FOLDER /usr/share/javascript/dygraphs CACHE PATH "Where dygraph.min.js and dygraph.min.css are")

function(page_files target)
    set(page ${CMAKE_CURRENT_SOURCE_DIR}/html/page)
    set(curve_script ${DYGRAPHS_FOLDER}/dygraph.min.js)
    set(curve_style ${DYGRAPHS_FOLDER}/dygraph.min.css)
    foreach(file ${curve_script} ${curve_style})
        if(NOT EXISTS ${file})
            message(FATAL_ERROR "${file} is missing: scripts/setup.sh installs it (libjs-dygraphs)")
        endif()
    endforeach()
    set(scripts ${page}/data.js ${page}/map.js ${page}/curve.js ${page}/copy.js)
    list(JOIN scripts + joined)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/PageFiles.cpp)
    set(script ${CMAKE_SOURCE_DIR}/cmake/EmbedFiles.cmake)
    set(texts "kPageStyle=${page}/report.css;kCertificateStyle=${page}/certificate.css;kPageScript=${joined};kCurveStyle=${curve_style};kCurveScript=${curve_script}")
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DHEADER=drivetest/html/PageFiles.h -DNAMESPACE=drivetest -DOUTPUT=${output}
                "-DTEXTS=${texts}" -P ${script}
        DEPENDS ${scripts} ${page}/report.css ${page}/certificate.css ${curve_script} ${curve_style} ${script}
        VERBATIM)
    target_sources(${target} PRIVATE ${output})
endfunction()

# grade_file(TARGET): puts the limits that come with the program into the target.
function(grade_file target)
    set(file ${CMAKE_CURRENT_SOURCE_DIR}/grade/grade.toml)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/GradeFile.cpp)
    set(script ${CMAKE_SOURCE_DIR}/cmake/EmbedFiles.cmake)
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DHEADER=drivetest/grade/Grading.h -DNAMESPACE=drivetest -DOUTPUT=${output}
                -DTEXTS=kGradeFile=${file} -P ${script}
        DEPENDS ${file} ${script}
        VERBATIM)
    target_sources(${target} PRIVATE ${output})
endfunction()

# plan_files(TARGET): puts the plans that come with the program into the target.
function(plan_files target)
    set(folder ${CMAKE_CURRENT_SOURCE_DIR}/plan/plans)
    set(output ${CMAKE_CURRENT_BINARY_DIR}/PlanFiles.cpp)
    set(script ${CMAKE_SOURCE_DIR}/cmake/EmbedFiles.cmake)
    set(new ${folder}/new-drive.toml)
    set(used ${folder}/used-drive.toml)
    set(scrub ${folder}/weekly-scrub.toml)
    set(texts "kNewDrivePlan=${new};kUsedDrivePlan=${used};kWeeklyScrubPlan=${scrub}")
    add_custom_command(
        OUTPUT ${output}
        COMMAND ${CMAKE_COMMAND} -DHEADER=drivetest/plan/BuiltInPlans.h -DNAMESPACE=drivetest -DOUTPUT=${output}
                "-DTEXTS=${texts}" -P ${script}
        DEPENDS ${new} ${used} ${scrub} ${script}
        VERBATIM)
    target_sources(${target} PRIVATE ${output})
endfunction()
