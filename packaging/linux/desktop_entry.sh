#!/bin/sh
# Prints the entry of the desktop's menu. Its actions are worded as in the icon's own menu.
set -e
export LC_ALL=C # for the order of the files
cd "$(dirname "$0")/../.."

# names KEY: the text of that key in each language.
names() {
    sed -n "s/.*\"$1\">\(.*\)<.*/Name=\1/p" resources/locales/agent-en.xml
    for file in resources/locales/agent-*.xml; do
        language=$(basename "$file" .xml | sed -e 's/agent-//' -e 's/-\(.*\)/_\U\1/')
        sed -n "s/.*\"$1\">\(.*\)<.*/Name[$language]=\1/p" "$file"
    done
}

cat <<END
[Desktop Entry]
Type=Application
Name=Zelmo Dockset
GenericName=Phone agent
Comment=Start the phone suite when a phone is plugged in
Icon=zelmo-dockset-agent
TryExec=/usr/lib/zelmo-dockset/open
Exec=/usr/lib/zelmo-dockset/open
Terminal=false
StartupNotify=false
Categories=Utility;TelephonyTools;
Keywords=phone;tray;dock;
Actions=launch;close;

[Desktop Action launch]
$(names zdagent_launch)
Exec=/usr/lib/zelmo-dockset/open launch

[Desktop Action close]
$(names zdagent_close)
# WM_CLOSE
Exec=/usr/lib/zelmo-dockset/zdpost ZelmoDocksetAgent 16
END
