#pragma once

class QString;

/**
 * Returns whether the file @p name in tests/form holds just @p text. If it does not, prints how
 * the text differs and leaves it as a file of the same name in the build folder's tests/form.
 * To accept it, check the difference and copy that file over the old one.
 */
bool isGoldenText(const QString &name, const QString &text);
