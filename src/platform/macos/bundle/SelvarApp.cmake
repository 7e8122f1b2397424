# Selvar.app: the macOS application bundle around platform/macos/main.mm, with its Info.plist,
# the transcription server script in Resources and, when given, the update framework.

set(SELVAR_BUNDLE_ID "app.selvar.Selvar" CACHE STRING "Bundle identifier of Selvar.app")
set(SELVAR_BUILD_NUMBER "${PROJECT_VERSION}" CACHE STRING "CFBundleVersion of Selvar.app")
set(SELVAR_SPARKLE_FRAMEWORK "" CACHE PATH
  "Sparkle.framework to embed in Selvar.app (optional; without it the updater is hidden)")
set(SELVAR_SPARKLE_FEED_URL "" CACHE STRING "Appcast URL for the update framework (SUFeedURL)")
set(SELVAR_SPARKLE_PUBLIC_KEY "" CACHE STRING
  "EdDSA public key the update framework checks updates with (SUPublicEDKey)")

set(SELVAR_UPDATER_PLIST_KEYS "")
if(SELVAR_SPARKLE_FEED_URL)
  string(APPEND SELVAR_UPDATER_PLIST_KEYS
    "\t<key>SUFeedURL</key>\n\t<string>${SELVAR_SPARKLE_FEED_URL}</string>\n")
endif()
if(SELVAR_SPARKLE_PUBLIC_KEY)
  string(APPEND SELVAR_UPDATER_PLIST_KEYS
    "\t<key>SUPublicEDKey</key>\n\t<string>${SELVAR_SPARKLE_PUBLIC_KEY}</string>\n")
endif()
set(SELVAR_BUNDLE_VERSION "${PROJECT_VERSION}")
set(selvar_info_plist "${CMAKE_CURRENT_BINARY_DIR}/Selvar-Info.plist")
configure_file("${CMAKE_CURRENT_LIST_DIR}/Info.plist.in" "${selvar_info_plist}" @ONLY)

# The transcription server as the other platforms install it: the launcher and the setup
# script in Resources, the server's package and the pinned requirements beside them.
set(selvar_tools "${PROJECT_SOURCE_DIR}/tools")
file(GLOB selvar_server_modules CONFIGURE_DEPENDS "${selvar_tools}/selvar_asr/*.py")
file(GLOB selvar_server_requirements CONFIGURE_DEPENDS "${selvar_tools}/requirements/*.txt")
set(selvar_resources "")
if(EXISTS "${selvar_tools}/asr-server.py")
  set(selvar_server_scripts "${selvar_tools}/asr-server.py" "${selvar_tools}/setup-asr.sh")
  set(selvar_setup_library "${selvar_tools}/lib/python.sh")
  list(APPEND selvar_resources ${selvar_server_scripts} ${selvar_server_modules}
    ${selvar_server_requirements} ${selvar_setup_library})
  set_source_files_properties(${selvar_server_scripts} PROPERTIES
    MACOSX_PACKAGE_LOCATION Resources)
  set_source_files_properties(${selvar_server_modules} PROPERTIES
    MACOSX_PACKAGE_LOCATION Resources/selvar_asr)
  set_source_files_properties(${selvar_server_requirements} PROPERTIES
    MACOSX_PACKAGE_LOCATION Resources/requirements)
  set_source_files_properties(${selvar_setup_library} PROPERTIES
    MACOSX_PACKAGE_LOCATION Resources/lib)
else()
  message(WARNING "tools/asr-server.py is missing: Selvar.app will have no transcription server")
endif()

add_executable(Selvar MACOSX_BUNDLE "${CMAKE_CURRENT_LIST_DIR}/../main.mm" ${selvar_resources})
target_compile_options(Selvar PRIVATE -fobjc-arc)
target_link_libraries(Selvar PRIVATE selvar_platform)
set_target_properties(Selvar PROPERTIES
  OUTPUT_NAME Selvar
  MACOSX_BUNDLE_INFO_PLIST "${selvar_info_plist}")

if(SELVAR_SPARKLE_FRAMEWORK)
  # ditto keeps the framework's version symlinks; loaded at run time, so nothing links it.
  add_custom_command(TARGET Selvar POST_BUILD
    COMMAND "${CMAKE_COMMAND}" -E make_directory "$<TARGET_BUNDLE_CONTENT_DIR:Selvar>/Frameworks"
    COMMAND ditto "${SELVAR_SPARKLE_FRAMEWORK}"
            "$<TARGET_BUNDLE_CONTENT_DIR:Selvar>/Frameworks/Sparkle.framework"
    VERBATIM)
endif()

install(TARGETS Selvar BUNDLE DESTINATION .)
