# Run by CPack before it packs: Debian has manual pages compressed, without a time in them.
file(GLOB pages "${CPACK_TEMPORARY_DIRECTORY}/tools/usr/share/man/man1/*.1")
foreach(page ${pages})
    execute_process(COMMAND gzip -9n "${page}" COMMAND_ERROR_IS_FATAL ANY)
endforeach()
