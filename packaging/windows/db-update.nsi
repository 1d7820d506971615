; The installer: for all users, with an entry in the start menu and one in the
; list of programs. /S installs without a question, /D=FOLDER (last) elsewhere.
Target amd64-unicode
SetCompressor /SOLID lzma
RequestExecutionLevel admin
ManifestDPIAware true

!include MUI2.nsh

!define PRODUCT "DB更新"
!define UNINSTALL_KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\db-update"

Name "${PRODUCT}"
OutFile "${SETUP}"
InstallDir "$PROGRAMFILES64\db-update"
BrandingText "${PRODUCT} ${VERSION}"

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "${PRODUCT}"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "${PRODUCT} Setup"
VIAddVersionKey LegalCopyright ""

!define MUI_ICON "${ICON}"
!define MUI_UNICON "${ICON}"
!define MUI_FINISHPAGE_RUN "$INSTDIR\db-update.exe"
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "Japanese"
!insertmacro MUI_LANGUAGE "English"

Function .onInit
  SetRegView 64
FunctionEnd

Section
  SetShellVarContext all
  SetOutPath "$INSTDIR"
  File "${STAGE}\db-update.exe"
  File "${STAGE}\mdbadm.exe"
  File "${STAGE}\使い方.txt"
  WriteUninstaller "$INSTDIR\uninstall.exe"
  CreateShortcut "$SMPROGRAMS\${PRODUCT}.lnk" "$INSTDIR\db-update.exe"

  WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayName "${PRODUCT}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayVersion "${VERSION}"
  WriteRegStr HKLM "${UNINSTALL_KEY}" DisplayIcon "$INSTDIR\db-update.exe"
  WriteRegStr HKLM "${UNINSTALL_KEY}" InstallLocation "$INSTDIR"
  WriteRegStr HKLM "${UNINSTALL_KEY}" UninstallString '"$INSTDIR\uninstall.exe"'
  WriteRegStr HKLM "${UNINSTALL_KEY}" QuietUninstallString '"$INSTDIR\uninstall.exe" /S'
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" NoModify 1
  WriteRegDWORD HKLM "${UNINSTALL_KEY}" NoRepair 1
SectionEnd

Function un.onInit
  SetRegView 64
FunctionEnd

; Only what was installed: a database that somebody keeps there stays.
Section Uninstall
  SetShellVarContext all
  Delete "$SMPROGRAMS\${PRODUCT}.lnk"
  Delete "$INSTDIR\db-update.exe"
  Delete "$INSTDIR\mdbadm.exe"
  Delete "$INSTDIR\使い方.txt"
  Delete "$INSTDIR\uninstall.exe"
  RMDir "$INSTDIR"
  DeleteRegKey HKLM "${UNINSTALL_KEY}"
SectionEnd
