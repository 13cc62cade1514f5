# What `cmake --install` brings. The pages keep their places beside each other, so that their links lead to them.
include(GNUInstallDirs)

install(TARGETS tovik RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
install(FILES LICENSE README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs DESTINATION ${CMAKE_INSTALL_DOCDIR} FILES_MATCHING PATTERN "*.md")
# Without what runs in the source folder have left.
install(DIRECTORY examples DESTINATION ${CMAKE_INSTALL_DOCDIR} PATTERN "imputed*" EXCLUDE
        PATTERN "estimates*" EXCLUDE PATTERN "tests.csv" EXCLUDE)
install(DIRECTORY share/ DESTINATION ${CMAKE_INSTALL_DATADIR})
