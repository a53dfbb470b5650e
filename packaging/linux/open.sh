#!/bin/sh
# open [launch]: what the desktop's menu runs. Starts the agent, whose second start would say nothing: where it runs
# already, it starts the main application for "launch", and else a notification tells the user.
directory=/usr/lib/zelmo-dockset
agent=ZelmoDocksetAgent

# WM_NULL finds out whether there is a window.
if ! $directory/zdpost $agent 0 2>/dev/null; then
    exec $directory/$agent
fi
if [ "$1" = launch ]; then
    exec $directory/zdpost $agent 273 1 # WM_COMMAND, as from the icon's menu
fi
language=$($directory/zdplatform describe 2>/dev/null | sed -n 's/.*"supportedLocale": *"\(.*\)".*/\1/p')
text=$(sed -n 's/.*"zdagent_running_text">\(.*\)<.*/\1/p' "$directory/resources/locales/agent-$language.xml")
exec notify-send --app-name="Zelmo Dockset" --icon=zelmo-dockset-agent "Zelmo Dockset" "$text"
