// The inventory of the host: modules, accounts, versions.
#include <iostream>

#include "inventory.h"

namespace inventory {

namespace {

using namespace Sorvex;

const char* const groupList = "C:\\etc\\group";

// The names that the host's group list holds: the first field of each line.
std::vector<BString> groupNames() {
    std::vector<BString> names;
    if (!BFile::canAccess(groupList, BFile::accessRead))
        return {"Administrators", "Users"};
    BFile file(groupList);
    file.open("rb");
    while (!file.isEof()) {
        const BString line = file.getLine();
        std::vector<BString> fields;
        if (line.parseFields(fields, ":") > 0)
            names.push_back(fields.front());
    }
    return names;
}

}  // namespace

void reportModules(MessageFile& texts) {
    std::cout << '\n' << texts.text("MODULES") << '\n';
    DllFinder finder;
    for (finder.first(); finder; ++finder)
        std::cout << "  " << std::hex << finder.baseAddress() << std::dec << ' '
                  << finder.fullName() << '\n';
}

void reportUser(MessageFile& texts, const std::string& user) {
    std::cout << '\n' << texts.text("USER", user.c_str()) << '\n';
    WindowsUserProperties account(user.c_str());
    for (const BString& group : groupNames())
        if (account.isMemberOfGroup(group.c_str()))
            std::cout << "  " << texts.text("MEMBER", group.c_str()) << '\n';
}

void reportVersion(MessageFile& texts, const std::string& image) {
    std::cout << '\n' << texts.text("VERSION", BPath::fullName(image.c_str()).c_str()) << '\n';
    VersionInfo version(image.c_str());
    version.getInfo();
    std::cout << "  "
              << (version.hasInfo() ? texts.text("NUMBERS", version.fileVersion().c_str(),
                                                 version.productVersion().c_str())
                                    : texts.text("NOVERSION"))
              << '\n';
}

}  // namespace inventory
