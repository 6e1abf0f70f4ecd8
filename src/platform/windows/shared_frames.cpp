// Exceptions across the border of the DLL on 32-bit Windows.
//
// There the compiler's unwinder finds call frames in tables that each module registers with the
// copy of the unwinder that is linked into it, so a copy knows the frames of its own module only.
// This file is linked twice: into the DLL, where it makes the program's frames known, and into the
// program, where it makes the DLL's frames known. An exception then passes both ways.
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <unwind.h>
#include <windows.h>

extern "C" {
void __register_frame_info(const void* frames, void* record);
void sorvexShareFrames();
}

namespace {

/// What the unwinder keeps of one table; it is six words wide.
struct FrameRecord {
    void* words[8];
};

/// Whether a section starts as a table of call frames does: with a record that others refer to, of
/// the only version in use, whose augmentation has a size.
bool startsAsFrames(const unsigned char* section, std::size_t size) {
    constexpr std::size_t versionAt = 8;
    std::uint32_t length = 0;
    std::uint32_t identifier = 0;
    if (size < versionAt + 2)
        return false;
    std::memcpy(&length, section, sizeof length);
    std::memcpy(&identifier, section + sizeof length, sizeof identifier);
    return length > versionAt && length < size && identifier == 0 && section[versionAt] == 1 &&
           section[versionAt + 1] == 'z';
}

/// The table of call frames of a loaded module; null when it has none.
const unsigned char* framesOf(const unsigned char* module) {
    const auto* start = reinterpret_cast<const IMAGE_DOS_HEADER*>(module);
    const auto* headers = reinterpret_cast<const IMAGE_NT_HEADERS*>(module + start->e_lfanew);
    const auto* section = reinterpret_cast<const IMAGE_SECTION_HEADER*>(
        reinterpret_cast<const unsigned char*>(&headers->OptionalHeader) +
        headers->FileHeader.SizeOfOptionalHeader);
    for (WORD left = headers->FileHeader.NumberOfSections; left != 0; --left, ++section) {
        // The name is too long for the header: it is cut, or stands in a table that isn't loaded.
        const bool mayBeNamedSo =
            section->Name[0] == '/' || std::memcmp(section->Name, ".eh_fram", 8) == 0;
        const unsigned char* data = module + section->VirtualAddress;
        if (mayBeNamedSo && (section->Characteristics & IMAGE_SCN_MEM_DISCARDABLE) == 0 &&
            startsAsFrames(data, section->Misc.VirtualSize))
            return data;
    }
    return nullptr;
}

}  // namespace

/// Runs before the constructors of the module's own objects. The program's link asks for it by its
/// name, so that this file is taken out of its archive.
extern "C" __attribute__((constructor(101))) void sorvexShareFrames() {
    const auto* other =
        reinterpret_cast<const unsigned char*>(GetModuleHandleA(SORVEX_OTHER_MODULE));
    const unsigned char* frames = other == nullptr ? nullptr : framesOf(other);
    if (frames != nullptr) {
        static FrameRecord record;
        __register_frame_info(frames, &record);
    }

    // A copy of the unwinder sets itself up when it is first entered, which for an exception that
    // comes from outside would be too late.
    const auto stop = [](_Unwind_Context*, void*) { return _URC_NORMAL_STOP; };
    _Unwind_Backtrace(stop, nullptr);
}
