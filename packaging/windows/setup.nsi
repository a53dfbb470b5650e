; The installer of the suite for Windows, per machine. tools/windows_setup.sh gives VERSION, PROGRAMS, RESOURCES, LICENSES
; and OUTPUT.
;
; With the arguments that the agent starts it with, "/passive ZdAutoUpdate=1", it shows nothing; otherwise it has its
; pages. It ends a running agent through that one's window, replaces it, and starts it again. The exit code is 0, 1 if the
; user cancelled, 2 on failure.

Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestDPIAware true
ManifestSupportedOS Win10
CRCCheck force

!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include WinVer.nsh

!define NAME "Zelmo Dockset"
!define MAKER "Tavrin"
!define AGENT "ZelmoDocksetAgent"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"
!define RUN_KEY "Software\Microsoft\Windows\CurrentVersion\Run"

Name "${NAME}"
BrandingText "${NAME} ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${MAKER}\${NAME}"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"

VIProductVersion "${VERSION}"
VIFileVersion "${VERSION}"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "${NAME} Setup"
VIAddVersionKey "CompanyName" "${MAKER}"
VIAddVersionKey "LegalCopyright" "Copyright ${MAKER}"

!define MUI_ICON "..\art\zelmo.ico"
!define MUI_UNICON "..\art\zelmo.ico"
!define MUI_ABORTWARNING
!define MUI_FINISHPAGE_RUN
!define MUI_FINISHPAGE_RUN_FUNCTION startAgent
!insertmacro MUI_PAGE_LICENSE "license.txt"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; The agent as the user that sits there, and not with the rights of an installer: the shell starts it.
Function startAgent
  Exec '"$WINDIR\explorer.exe" "$INSTDIR\${AGENT}.exe"'
FunctionEnd

; Two installers at once would replace each other's files.
!macro ONLY_ONE
  System::Call 'kernel32::CreateMutexW(p 0, i 1, w "Global\ZelmoDocksetSetup") p .r1 ?e'
  Pop $0
  ${If} $0 = 183
    MessageBox MB_OK|MB_ICONEXCLAMATION "Setup runs already." /SD IDOK
    SetErrorLevel 2
    Quit
  ${EndIf}
!macroend

; Asks the agent of this session to end, which ends the main application, and waits until both have. An agent of
; another session goes on with the old file, which is moved out of the way.
!macro PROGRAMS_FUNCTIONS un
Function ${un}closeAgent
  FindWindow $0 "${AGENT}"
  ${If} $0 P<> 0
    System::Call 'user32::GetWindowThreadProcessId(p r0, *i .r1)'
    System::Call 'kernel32::OpenProcess(i 0x100000, i 0, i r1) p .r2'
    SendMessage $0 ${WM_CLOSE} 0 0 /TIMEOUT=5000
    System::Call 'kernel32::WaitForSingleObject(p r2, i 30000)'
    System::Call 'kernel32::CloseHandle(p r2)'
  ${EndIf}
FunctionEnd

; Takes the file's name from the stack.
Function ${un}moveAway
  Exch $0
  ${If} ${FileExists} "$INSTDIR\$0"
    ClearErrors
    Delete "$INSTDIR\$0"
    ${If} ${Errors}
      GetTempFileName $1 "$INSTDIR"
      Delete "$1"
      Rename "$INSTDIR\$0" "$1"
      Delete /REBOOTOK "$1"
    ${EndIf}
  ${EndIf}
  Pop $0
FunctionEnd

Function ${un}removePrograms
  Push "${AGENT}.exe"
  Call ${un}moveAway
  Push "ZelmoDockset.exe"
  Call ${un}moveAway
  Push "zdmanifest.exe"
  Call ${un}moveAway
  Push "zdplatform.exe"
  Call ${un}moveAway
  Push "zdpost.exe"
  Call ${un}moveAway
FunctionEnd
!macroend
!insertmacro PROGRAMS_FUNCTIONS ""
!insertmacro PROGRAMS_FUNCTIONS "un."

Function .onInit
  !insertmacro ONLY_ONE
  ${IfNot} ${AtLeastWin10}
    MessageBox MB_OK|MB_ICONSTOP "${NAME} needs Windows 10 or newer." /SD IDOK
    SetErrorLevel 2
    Quit
  ${EndIf}
  SetRegView 64
  SetShellVarContext all
  ${GetParameters} $0
  ${If} $0 == "/passive ZdAutoUpdate=1"
    SetSilent silent
  ${EndIf}
FunctionEnd

Function un.onInit
  !insertmacro ONLY_ONE
  SetRegView 64
  SetShellVarContext all
FunctionEnd

Section
  Call closeAgent
  SetOutPath "$INSTDIR"
  Call removePrograms
  ClearErrors
  File "${PROGRAMS}/*.exe"
  File "license.txt"
  RMDir /r "$INSTDIR\resources"
  SetOutPath "$INSTDIR\resources"
  File /r "${RESOURCES}/*"
  SetOutPath "$INSTDIR\licenses"
  File "${LICENSES}/*"
  SetOutPath "$INSTDIR"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  CreateShortcut "$SMPROGRAMS\${NAME} Agent.lnk" "$INSTDIR\${AGENT}.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\${AGENT}.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "${MAKER}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "EstimatedSize" $0
  ${If} ${Errors}
    DetailPrint "Something could not be written."
    SetErrorLevel 2
    Abort
  ${EndIf}
  ${If} ${Silent}
    Call startAgent
  ${EndIf}
SectionEnd

; Settings, logs and caches are the users' own and stay.
Section "Uninstall"
  Call un.closeAgent
  Call un.removePrograms
  RMDir /r "$INSTDIR\resources"
  RMDir /r "$INSTDIR\licenses"
  Delete "$INSTDIR\license.txt"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  RMDir "$PROGRAMFILES64\${MAKER}"
  Delete "$SMPROGRAMS\${NAME} Agent.lnk"
  ; The autostart of each user who is logged in. What others keep names a file that is no more, which is ignored.
  StrCpy $0 0
  ${Do}
    EnumRegKey $1 HKU "" $0
    ${If} $1 == ""
      ${ExitDo}
    ${EndIf}
    DeleteRegValue HKU "$1\${RUN_KEY}" "${AGENT}"
    IntOp $0 $0 + 1
  ${Loop}
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd
