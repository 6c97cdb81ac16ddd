// The page of charts, made from the files beside this one at build time: the text before its policy, the
// policy, the text before its data and behind it. Empty where the charts' library was not found then.
#ifndef TESSARY_TOOLS_VIEWS_PAGE_PAGE_H
#define TESSARY_TOOLS_VIEWS_PAGE_PAGE_H

#include <string_view>

namespace tool {

std::string_view pageBeforePolicy();
std::string_view pagePolicy();
std::string_view pageBeforeData();
std::string_view pageBehindData();

}  // namespace tool

#endif
