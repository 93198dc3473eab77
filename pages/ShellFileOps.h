// Copying and deleting files as the user's desktop shell does it for the pages: a copy asks
// before it replaces a file, a deletion asks first and moves the file to the Trash, from where
// the user can restore it.
//
// Questions go through the current page services (PageServicesScope.h). With no services
// current there is nobody to answer, and a question counts as answered "no".
//
// Limit: paths are limited to kShellMaxPath characters, as the shell's buffers are: a path of
// that length or more (the buffer also holds the terminating null) fails with result 0.
#pragma once

// Size of the shell's path buffers, terminating null included.
inline constexpr int kShellMaxPath = 260;

// Copies the file `from` to `to`, which is a file path or an existing folder (the copy then
// keeps its name). When the target exists the user is asked whether to replace it, unless
// `noConfirm` is set, which replaces it silently. 1 on success, 0 on failure or refusal, also
// when the source is no regular file or is the target itself.
int ShCopyFile(const wchar_t* from, const wchar_t* to, int noConfirm);

// Moves the file `path` to the user's Trash. Unless `noConfirm` is set the user is asked first.
// A relative path is taken relative to the process's current folder. 1 on success, 0 on
// failure (no such file, Trash not writable) or refusal.
//
// The Trash is that of the freedesktop.org Trash specification: $XDG_DATA_HOME/Trash, by
// default ~/.local/share/Trash, with the file under files/NAME and its origin in
// info/NAME.trashinfo (Path, URL-escaped, and DeletionDate in local time). A name already in
// the Trash gets a number: "name.2.ext", "name.3.ext", ... A file on another device than the
// Trash is copied there and then removed.
int ShDeleteFile(const wchar_t* path, int noConfirm);
