// A module with nothing in it, for tests that load and unload copies of it.
extern "C" [[gnu::visibility("default")]] int loadedModuleAnswer() {
    return 42;
}
