// What the host knows: the version of a file, the modules of the process, and users.
#ifndef SORVEX_HOSTINFO_H
#define SORVEX_HOSTINFO_H

#include <cstdint>
#include <memory>
#include <string>

#include <sorvex/bfile.h>
#include <sorvex/export.h>

struct tagVS_FIXEDFILEINFO;  // the platform's record of the fixed numbers

namespace Sorvex {

/// The version resource of an executable file: its fixed numbers and its named values.
///
/// The object is a BFile by its name only; nothing here opens the file as a stream. On hosts that
/// are not Windows the resources of Windows images, 32-bit and 64-bit, are read all the same.
///
///     VersionInfo info("C:\\apps\\tool.exe");
///     if (info.getInfo().hasInfo())
///         std::cout << info.fileVersion() << '\n';
class SORVEX_API VersionInfo : public BFile {
public:
    /// Reads nothing yet: everything below is 0 or empty before getInfo().
    explicit VersionInfo(const char* fileName);
    ~VersionInfo() override;

    /// Reads the resource afresh. A file that has none, or is missing, is no failure.
    ///
    /// @throws std::runtime_error "GetFileVersionInfo(): ErrorCode N NAME" when the resource
    ///     can't be read; then there is nothing but hasInfo()
    /// @throws std::runtime_error "VerQueryValue(): ErrorCode N NAME" when the resource has no
    ///     fixed numbers; its values can still be asked for
    VersionInfo& getInfo();

    /// Whether the file had a version resource when it was last read.
    bool hasInfo() const noexcept { return infoSize != 0; }

    /// A value of the resource, exactly as many bytes as the platform gives.
    ///
    /// A text is UTF-8 on hosts that are not Windows, and its terminating NUL is part of the
    /// result. The value "\\VarFileInfo\\Translation" holds the languages and code pages of the
    /// texts, four bytes each.
    ///
    /// @param subBlock the whole path of the value, such as
    ///     "\\StringFileInfo\\040904b0\\CompanyName"; case does not count
    /// @return empty when nothing was read
    /// @throws std::runtime_error "VerQueryValue(): ErrorCode N NAMESUBBLOCK" when the resource
    ///     does not hold it
    std::string value(const char* subBlock);

    /// The first three numbers of the version, as in "1.02.0034"; the fourth does not appear.
    std::string fileVersion() const;
    std::string productVersion() const;  ///< Those of the product's version.

    /// The first of the four numbers of the file's version. Without fixed numbers all are 0.
    std::uint16_t majorVersion() const noexcept;
    std::uint16_t minorVersion() const noexcept;  ///< The second number of the file's version.
    std::uint16_t build() const noexcept;         ///< The third number.
    std::uint16_t subBuild() const noexcept;      ///< The fourth number.

    /// The first of the four numbers of the product's version.
    std::uint16_t productMajorVersion() const noexcept;
    std::uint16_t productMinorVersion() const noexcept;  ///< The product's second number.
    std::uint16_t productBuild() const noexcept;         ///< The product's third number.
    std::uint16_t productSubBuild() const noexcept;      ///< The product's fourth number.

    /// The system that the file is made for, by the platform's number, as are those below.
    std::uint32_t fileOS() const noexcept;
    std::uint32_t fileType() const noexcept;       ///< What the file is: a program, a library ...
    std::uint32_t fileSubType() const noexcept;    ///< What kind of driver or font it is.
    std::uint32_t fileFlags() const noexcept;      ///< What holds of the file, as bits.
    std::uint32_t fileFlagsMask() const noexcept;  ///< Which bits of the flags count.

private:
    std::uint32_t infoSize = 0;
    std::unique_ptr<unsigned char[]> infoBuffer;
    const tagVS_FIXEDFILEINFO* fixedInfo = nullptr;  // inside infoBuffer
};

/// Lists the modules loaded into the running process, the program itself among them.
///
/// One object makes one walk, from the bottom of the address space to its top, so that the modules
/// come in rising order of their addresses, each of them once. A walk runs thus:
///
///     DllFinder finder;
///     for (finder.first(); finder; ++finder)
///         std::cout << finder.fullName() << '\n';
///
/// Modules that are loaded or unloaded meanwhile are seen or missed according to where the walk
/// stands. No operation fails. An object belongs to one thread at a time.
class SORVEX_API DllFinder {
public:
    DllFinder() = default;  ///< Walks nothing yet: the object isn't valid before the first step.

    /// Goes on to the next module; the same step under two names.
    ///
    /// `first` doesn't begin anew: on an object in use it goes on from where the walk stands.
    ///
    /// @return whether there was one more; from the end of the walk on, false
    bool first();
    bool next();              ///< The same step as first().
    DllFinder& operator++();  ///< Goes on to the next module.

    /// The full file name of the module found last, empty before the first step. It stays at the
    /// end of the walk. A name of more than 511 characters is cut.
    std::string fullName() const { return moduleName; }

    /// The address at which the module found last is loaded, which is the platform's handle of it;
    /// 0 before the first step.
    std::uintptr_t baseAddress() const noexcept { return moduleBase; }

    /// Whether the last step found a module.
    bool isValid() const noexcept { return valid; }
    operator bool() const noexcept { return valid; }  ///< The same as isValid().

private:
    std::string moduleName;
    std::uintptr_t scanAddress = 0;
    bool valid = false;
    std::uintptr_t moduleBase = 0;
};

// These classes have no virtual destructor by design: users are not to be deleted through a base.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

/// A user, known by name. This class trusts everyone: both questions are answered with yes.
///
/// Derived classes ask an account database. Not to be deleted through a pointer to this class.
class SORVEX_API UserProperties {
public:
    /// Keeps a copy of the name, which must not be null.
    explicit UserProperties(const char* userName);
    ~UserProperties() = default;

    virtual bool isValidPassword(const char* password);  ///< Whether the password is this user's.
    virtual bool isMemberOfGroup(const char* group);     ///< Whether the user belongs to the group.

protected:
    std::string userName;  ///< The name given to the constructor.
};

/// A user of the local host.
///
/// Each call asks the host's account database afresh; nothing is kept between calls. On hosts that
/// are not Windows names are UTF-8, the local groups are those that list the user as a member, and
/// the one global group is the user's primary group.
class SORVEX_API WindowsUserProperties : public UserProperties {
public:
    /// Holds the name; the host is not asked.
    explicit WindowsUserProperties(const char* userName);
    ~WindowsUserProperties() = default;

    /// Whether the host accepts the password; false for an unknown user too.
    ///
    /// @throws std::runtime_error "Error privilege not held. Make sure to enable 'act as part
    ///     of the operating system' user right is enabled for you" when the caller may not check
    ///     passwords (elsewhere than on Windows: may not read the host's hashes)
    /// @throws std::runtime_error "LogonUser(): ErrorCode N unable to verify password" when the
    ///     account is locked (1331) or has expired (1793), when the password has expired (1330),
    ///     when the account has none (1327), or when the host can't check it (126: no crypt
    ///     library)
    bool isValidPassword(const char* password) override;

    /// Whether the user is in the local group of that name or, failing that, in the global one.
    /// Case counts.
    ///
    /// The names of the user and of the groups walked have to fit in 64 UTF-16 units and 64 bytes.
    ///
    /// @throws std::runtime_error "NetUserGetLocalGroups: ErrorCode N unable to retrieve group
    ///     list", with 2221 for an unknown user
    /// @throws std::runtime_error "MultiByteToWideChar(): ErrorCode N unable to convert user name
    ///     to Unicode", "WideCharToMultiByte(): ErrorCode N unable to convert group name from
    ///     Unicode", with 122 for a name that is too long
    /// @throws std::runtime_error "NetApiBufferFree: ErrorCode N unable to release buffer allocated
    ///     by NetUserGetLocalGroups call"
    bool isMemberOfGroup(const char* group) override;

protected:
    /// Whether the user is in the global group of that name; fails as isMemberOfGroup does, with
    /// the same texts.
    bool isMemberOfGlobalGroup(const char* group);
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

}  // namespace Sorvex

#endif
