# The application's bundle, in which the server finds and launches it, for a folder of applications:
#     cmake --install build/release --component bundle --prefix /Applications
# An installation of everything leaves it out, because packaging/ puts the programs into a bundle under the prefix.
set(contents Vostel.app/Contents)
get_target_property(version VostelMCPKit VERSION)
configure_file(companion/Info.plist ${PROJECT_BINARY_DIR}/Info.plist @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/Info.plist DESTINATION ${contents} COMPONENT bundle EXCLUDE_FROM_ALL)
install(TARGETS vostel-mcp DESTINATION ${contents}/MacOS COMPONENT bundle EXCLUDE_FROM_ALL)

# The build folder has a bundle too, for the tests.
add_custom_target(bundle ALL
    COMMAND ${CMAKE_COMMAND} --install ${PROJECT_BINARY_DIR} --config $<CONFIG> --component bundle --prefix ${PROJECT_BINARY_DIR}
    COMMENT "Assembling Vostel.app" VERBATIM)
add_dependencies(bundle vostel-mcp)
if(VOSTEL_COMPANION)
    install(TARGETS Vostel DESTINATION ${contents}/MacOS COMPONENT bundle EXCLUDE_FROM_ALL)
    add_dependencies(bundle Vostel)
endif()
