// The device's configuration tree: named members, each a plain parameter (a string) or a sub-tree, with a JSON text
// form. On a device its vendor's library stands behind these names; platform/portable has ours.
//
// A tree belongs to one thread at a time. Calls tolerate a null tree or name: reading ones then answer null or 0,
// changing ones -1.
// Names are member names, not paths. What was parsed keeps its JSON kind: a number stays a number, an array an array.
#pragma once

struct ctree;

// What ctree_get_child_type answers. Numbers and booleans count as parameters: they have a text. Arrays count as
// sub-trees; a JSON null counts as absent here.
constexpr int ctree_child_absent = 0;
constexpr int ctree_child_subtree = 1;
constexpr int ctree_child_param = 2;

// Parses the text of a JSON object. Null when it is not one, or holds more than 65,536 objects and arrays or more than
// 262,144 commas. The caller releases the tree.
ctree* ctree_parse_buffer(const char* text);
// A new empty tree; the caller releases it.
ctree* ctree_get_empty();
// Frees a tree that the caller owns; null is ignored.
void ctree_release(ctree* tree);

// Text of a parameter, valid until the tree changes or is released; null when absent or not a parameter.
const char* ctree_get_param(const ctree* tree, const char* name);
// Sets a string parameter, replacing a member of that name. 0, or -1 when an argument is null or memory ran out.
int ctree_set_param(ctree* tree, const char* name, const char* value);
// 1 when a member of that name exists, else 0.
int ctree_contain_param(const ctree* tree, const char* name);
int ctree_get_child_type(const ctree* tree, const char* name);

// Inserts a copy of `child` under `name`, replacing a member of that name. 0, or -1.
int ctree_insert_child(ctree* tree, const char* name, const ctree* child);
// Inserts a string member; as ctree_set_param.
int ctree_insert_child_string(ctree* tree, const char* name, const char* value);
// The sub-tree under `name`, which stays owned by `tree`; null when absent or a parameter.
ctree* ctree_get_subtree(const ctree* tree, const char* name);

// Texts of a tree, allocated with malloc(); the caller frees them. The readable form has line ends and
// indentation, the compact one neither; slashes are not escaped. Null when out of memory.
char* ctree_serialize(const ctree* tree);
char* ctree_serialize_compact(const ctree* tree);
