#pragma once

// `tarnwick --self-test`: loads every QML file of the Tarnwick module, shows
// the root view and the Settings window for a moment off screen; any QML
// error or warning makes it fail. Returns the process exit code.
namespace SelfTest {
int run();
}
