#pragma once

#include <string>
#include <vector>

#include <qx/core/String.h>
#include <qx/util/config/IniFileView.h>

/// Lines "key=value" of one set.
std::string setText(const qx::util::IniFileView& view, qx::TextView set);
/// All sets, each with its header and an empty line between two.
std::string fileText(const qx::util::IniFileView& view);
/// One name on each line.
std::string namesText(const std::vector<qx::String>& names);

/// The same as JSON: an object of values by key, an object of those by set, an array of names.
std::string setJson(const qx::util::IniFileView& view, qx::TextView set);
std::string fileJson(const qx::util::IniFileView& view);
std::string namesJson(const std::vector<qx::String>& names);
