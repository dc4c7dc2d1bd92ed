# docs: the API reference of the public headers, made by doxygen below docs/api in the build folder.
# A warning is an error. Without doxygen the target tells so and fails.
find_package(Doxygen QUIET)
if(NOT DOXYGEN_FOUND)
  add_custom_target(
    docs
    COMMAND ${CMAKE_COMMAND} -E echo "The API reference needs the package doxygen: install it and configure again."
    COMMAND ${CMAKE_COMMAND} -E false
    VERBATIM)
  return()
endif()

set(headers ${PROJECT_BINARY_DIR}/src/include) # as they are included
set(DOXYGEN_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/docs/api)
set(DOXYGEN_GENERATE_LATEX NO)
set(DOXYGEN_HAVE_DOT NO)
set(DOXYGEN_QUIET YES)
set(DOXYGEN_JAVADOC_AUTOBRIEF YES)
# One comment may stand for several members, and a name may say enough.
set(DOXYGEN_EXTRACT_ALL YES)
set(DOXYGEN_WARN_AS_ERROR FAIL_ON_WARNINGS)
set(DOXYGEN_USE_MDFILE_AS_MAINPAGE ${PROJECT_SOURCE_DIR}/docs/api.md)
set(DOXYGEN_STRIP_FROM_PATH ${headers})
set(DOXYGEN_STRIP_FROM_INC_PATH ${headers})
set(DOXYGEN_FULL_PATH_NAMES YES)
set(DOXYGEN_SORT_MEMBER_DOCS NO)
set(DOXYGEN_HTML_TIMESTAMP NO)
# The headers' comments are plain ones, which doxygen doesn't show.
set(DOXYGEN_FILTER_PATTERNS "\"*.h=sed -E -f ${CMAKE_CURRENT_LIST_DIR}/doxygen_comments.sed\"")
doxygen_add_docs(docs ${headers}/kvo/bootloadertms ${PROJECT_SOURCE_DIR}/docs/api.md
                 WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}/src
                 COMMENT "Making the API reference, docs/api/html/index.html in the build folder")
