# Copies the GIMP plug-in PLUGIN into DEST and writes the bundle path BUNDLE
# beside it. Used by the install-gimp target and by the GIMP test.
file(MAKE_DIRECTORY "${DEST}")
file(COPY "${PLUGIN}" DESTINATION "${DEST}"
     FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                      WORLD_READ WORLD_EXECUTE)
file(WRITE "${DEST}/bundle-path" "${BUNDLE}\n")
