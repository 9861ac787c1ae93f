#pragma once

#include <string>

namespace ombrel {

// $HOME, or the password database's home when HOME is unset.
std::string HomeFolder();
// Expands a leading "~" or "~/".
std::string ExpandTilde(const std::string& path);

// "~/Documents/Ombrel/" and its folders, expanded, without a trailing slash.
std::string DocumentsFolder();
std::string AutosaveFolder();
std::string RenderFolder();
std::string ThumbnailsFolder();
std::string DataFolder();

// The shared data root: $OMBREL_DATA_DIR if set, else the installed share/tessaly,
// else the build tree's generated data. "Profiles/" and "Resources/" sit under it.
std::string DataRoot();
std::string ProfilesFolder();
std::string ResourcesFolder();
// Data packs of this user when the shared Profiles folder cannot be written:
// $XDG_DATA_HOME/ombrel/Profiles (~/.local/share when unset).
std::string UserProfilesFolder();

// Path helpers in the manner of the rest of the system.
std::string LastPathComponent(const std::string& path);
std::string DeletingPathExtension(const std::string& path);
std::string PathExtension(const std::string& path);
std::string AppendingPathComponent(const std::string& dir, const std::string& component);

}  // namespace ombrel
