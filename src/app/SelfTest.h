#pragma once

class NotchViewModel;

// `tarnwick --self-test`: loads every QML file of the Tarnwick module and
// shows the root view for a moment off screen; any QML error or warning
// makes it fail. Returns the process exit code.
namespace SelfTest {
int run(NotchViewModel &model);
}
