#ifndef QXTREE_NAMES_H
#define QXTREE_NAMES_H
#include <string>
#include <vector>
namespace qxtree { std::string NoColumn(const std::string& name, const std::vector<std::string>& names); }
#endif
