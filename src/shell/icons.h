#pragma once
// The console's own small icon set, drawn at run time: seven toolbar pictures and the three
// pictures of the station tree.

#include <QIcon>

namespace xl::shell {

// Toolbar pictures 1 to 7: user switch, port configuration, real-time monitoring, daily
// monitoring, global monitoring, history monitoring, data saving.
QIcon toolbarIcon(int index);

// Tree pictures: 1 the explorer and its ports, 2 a station that answered (or not yet asked),
// 3 a station that stayed silent.
QIcon treeIcon(int index);

// The main window's icon, which dialogs take over.
QIcon appIcon();

}  // namespace xl::shell
