; The installer for Windows x64, per machine: files, registration, an entry in the list of programs.
; With pages, or silent: /S, and /D=FOLDER as the last argument. An older version that is installed is
; taken away first. The exit code is 0, or 2 for what could not be done.
; Given by whoever runs makensis: VERSION, STAGE (the folder whose files are installed), OUTPUT, LISTS
; (the folder of remove_files.nsh, which takes away what STAGE holds).
Unicode true
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestLongPathAware true

!include LogicLib.nsh
!include MUI2.nsh

!define NAME "RastelKLP"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\${NAME}"

Name "${NAME} ${VERSION}"
OutFile "${OUTPUT}"
InstallDir "$PROGRAMFILES64\${NAME}"
InstallDirRegKey HKLM "${UNINSTALL_KEY}" "InstallLocation"

VIProductVersion "${VERSION}.0"
VIAddVersionKey "ProductName" "${NAME}"
VIAddVersionKey "ProductVersion" "${VERSION}"
VIAddVersionKey "FileVersion" "${VERSION}"
VIAddVersionKey "FileDescription" "Installs ${NAME}"
VIAddVersionKey "LegalCopyright" ""

!define MUI_ABORTWARNING
!insertmacro MUI_PAGE_LICENSE "${STAGE}\share\doc\RastelKLP\LICENSE"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

; What cannot be done ends the run; a silent one tells by its exit code alone.
!macro Fail TEXT
  SetErrorLevel 2
  DetailPrint "${TEXT}"
  Abort "${TEXT}"
!macroend

Function .onInit
  SetRegView 64
FunctionEnd

Function un.onInit
  SetRegView 64
FunctionEnd

Section
  SetShellVarContext all
  ; The installed version goes first, with its own uninstaller: it knows its files.
  ReadRegStr $0 HKLM "${UNINSTALL_KEY}" "InstallLocation"
  ${If} $0 != ""
  ${AndIf} ${FileExists} "$0\uninstall.exe"
    ; _? keeps the uninstaller from going on in a copy of its own, so that it can be waited for.
    ExecWait '"$0\uninstall.exe" /S _?=$0' $1
    ${If} $1 != 0
      !insertmacro Fail "The version that is installed could not be removed."
    ${EndIf}
    Delete "$0\uninstall.exe"
    RMDir "$0"
  ${EndIf}

  SetOutPath "$INSTDIR"
  ClearErrors
  File /r "${STAGE}\*.*"
  ${If} ${Errors}
    !insertmacro Fail "The files could not be written."
  ${EndIf}
  WriteUninstaller "$INSTDIR\uninstall.exe"

  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayName" "${NAME}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "Publisher" "The developers of ${NAME}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "InstallLocation" "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegStr HKLM "${UNINSTALL_KEY}" "DisplayIcon" "$INSTDIR\bin\rastel.exe"
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoModify" 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" "NoRepair" 1

  nsExec::ExecToLog '"$INSTDIR\bin\rastel.exe" register'
  Pop $0
  ${If} $0 != 0
    !insertmacro Fail "The classes could not be registered."
  ${EndIf}
SectionEnd

Section "Uninstall"
  SetShellVarContext all
  nsExec::ExecToLog '"$INSTDIR\bin\rastel.exe" unregister'
  Pop $0
  ; What somebody else has registered meanwhile is left to him, and so is a file that he added.
  !include "${LISTS}\remove_files.nsh"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd
