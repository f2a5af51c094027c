; The installer for Windows, made by scripts/package-windows.sh, which defines VERSION, FOLDER (what
; is installed), LIST (the commands that take it away again) and TARGET.
; It is for one user and needs no administrator.
Target amd64-unicode ; the program is 64 bits wide, too
RequestExecutionLevel user
SetCompressor /SOLID lzma
Name "podconsole"
OutFile "${TARGET}"
Icon "packaging/icons/podconsole.ico"
UninstallIcon "packaging/icons/podconsole.ico"
InstallDir "$LOCALAPPDATA\Programs\podconsole"
InstallDirRegKey HKCU "Software\KAVRO\podconsole" "Folder"
ManifestDPIAware true

!include FileFunc.nsh
!include LogicLib.nsh
!define UNINSTALL "Software\Microsoft\Windows\CurrentVersion\Uninstall\podconsole"

; The console keeps its settings in the folder it is started in.
!define SETTINGS "$APPDATA\podconsole"

Page directory
Page instfiles
UninstPage uninstConfirm
UninstPage instfiles

; Files in use cannot be replaced, and a running console may be moving the pod.
!macro NotWhileRunning
  ClearErrors
  ${If} ${FileExists} "$INSTDIR\apppodconsole.exe"
    FileOpen $0 "$INSTDIR\apppodconsole.exe" a
    ${If} ${Errors}
      MessageBox MB_OK|MB_ICONEXCLAMATION "Please close podconsole first." /SD IDOK
      SetErrorLevel 2
      Quit
    ${EndIf}
    FileClose $0
  ${EndIf}
!macroend

Section
  !insertmacro NotWhileRunning
  SetOutPath "$INSTDIR"
  File /r "${FOLDER}\*"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  CreateDirectory "${SETTINGS}"
  SetOutPath "${SETTINGS}" ; becomes the shortcut's start folder
  CreateShortcut "$SMPROGRAMS\podconsole.lnk" "$INSTDIR\apppodconsole.exe"

  WriteRegStr HKCU "Software\KAVRO\podconsole" "Folder" "$INSTDIR"
  WriteRegStr HKCU "${UNINSTALL}" "DisplayName" "podconsole"
  WriteRegStr HKCU "${UNINSTALL}" "DisplayVersion" "${VERSION}"
  WriteRegStr HKCU "${UNINSTALL}" "Publisher" "KAVRO"
  WriteRegStr HKCU "${UNINSTALL}" "DisplayIcon" "$INSTDIR\apppodconsole.exe"
  WriteRegStr HKCU "${UNINSTALL}" "UninstallString" '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKCU "${UNINSTALL}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKCU "${UNINSTALL}" "NoModify" 1
  WriteRegDWORD HKCU "${UNINSTALL}" "NoRepair" 1
  ${GetSize} "$INSTDIR" "/S=0K" $0 $1 $2
  WriteRegDWORD HKCU "${UNINSTALL}" "EstimatedSize" $0
SectionEnd

; Settings, recordings and log files stay: they are the user's.
Section Uninstall
  !insertmacro NotWhileRunning
  !include "${LIST}"
  Delete "$INSTDIR\uninstall.exe"
  SetOutPath "$TEMP" ; a folder that is somebody's working folder cannot go
  RMDir "$INSTDIR"
  RMDir "${SETTINGS}"
  Delete "$SMPROGRAMS\podconsole.lnk"
  DeleteRegKey HKCU "${UNINSTALL}"
  DeleteRegKey HKCU "Software\KAVRO\podconsole"
SectionEnd
