#include "FileNames.h"

#include <cstring>

#include <qx/platform/files.h>

#include "PlatformFailure.h"

using qx::String;

std::string fileNameOf(const String& file) {
    return reinterpret_cast<const char*>(file.getBytes());
}

std::string absolutePath(const String& file) {
    std::string absolute(65536, '\0');
    require(QXPathExpand(fileNameOf(file).c_str(), absolute.data(),
                         static_cast<int32_t>(absolute.size())),
            file.toUtf8());
    absolute.resize(std::strlen(absolute.c_str()));
    return absolute;
}
