// The files of the page (ui/assets: the HTML, its script and its style sheet), compiled into the
// program at build time so that the page needs nothing from outside.
#pragma once

#include <string_view>

// The file of that name in ui/assets; empty if there is none.
std::string_view UiAsset(std::string_view name);
