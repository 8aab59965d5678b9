// host/tmhost/help.h: tmhost's --help texts.
#pragma once

namespace tmhost {

extern const char kMainHelp[];
extern const char kCallHelp[];
extern const char kInfoHelp[];
extern const char kCatalogueHelp[];
extern const char kMessageHelp[];
extern const char kIniHelp[];
extern const char kCompressHelp[];
extern const char kExpandHelp[];
extern const char kRegHelp[];

}  // namespace tmhost
