// kx_help.h: the help and version texts, each in the language of kx_IsJapaneseLocale(). Constants, not to be freed.
#pragma once

namespace orkan {

const char *kx_GetHelp();
const char *kx_GetVersion();
const char *kx_GetCopyright();
const char *kx_GetContact();
const char *kx_GetLicense();

} // namespace orkan
