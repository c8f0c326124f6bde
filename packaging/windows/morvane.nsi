# SPDX-License-Identifier: Apache-2.0
# The installer for Windows. scripts/package-windows.sh compiles it in the root of the tree and defines
#   VERSION, OUTPUT   of the installer
#   STAGE, KILOBYTES  the folder to install and its size
#   REMOVE            a header with a Delete or RMDir instruction for each file and folder in STAGE
#   WINDOWS           if morvane.exe has windows and morvane-demo.exe is there
#   TARGET            the kind of installer, if not NSIS's default
#
# setup.exe /S [/AllUsers | /CurrentUser] [/PATH=1 | /PATH=0] [/D=folder] installs silently. The exit code is 0
# if everything was done, 1 if the user cancelled, and 2 if an error stopped the installation.
Unicode true
!ifdef TARGET
    Target ${TARGET}
!endif
SetCompressor /SOLID lzma
ManifestDPIAware true
Name "Morvane"
Caption "Morvane ${VERSION} Setup"
BrandingText "Morvane ${VERSION}"
OutFile "${OUTPUT}"

!define KEY "Software\Microsoft\Windows\CurrentVersion\Uninstall\Morvane"
!define MULTIUSER_MUI
!define MULTIUSER_EXECUTIONLEVEL Highest
!define MULTIUSER_USE_PROGRAMFILES64
!define MULTIUSER_INSTALLMODE_COMMANDLINE
!define MULTIUSER_INSTALLMODE_INSTDIR "Morvane"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_INSTDIR_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_KEY "${KEY}"
!define MULTIUSER_INSTALLMODE_DEFAULT_REGISTRY_VALUENAME "InstallLocation"
!define MULTIUSER_INSTALLMODE_FUNCTION ModeChosen
!define MULTIUSER_INSTALLMODE_UNFUNCTION un.ModeChosen
!include MultiUser.nsh
!include MUI2.nsh
!include FileFunc.nsh
!include LogicLib.nsh
!include Sections.nsh
!include WinMessages.nsh
!include WinVer.nsh
!include x64.nsh

VIProductVersion "${VERSION}.0"
VIAddVersionKey ProductName "Morvane"
VIAddVersionKey ProductVersion "${VERSION}"
VIAddVersionKey FileVersion "${VERSION}"
VIAddVersionKey FileDescription "Morvane Setup"
VIAddVersionKey LegalCopyright "Apache License 2.0"

Var GivenFolder  # what /D= names; MultiUser.nsh replaces $INSTDIR
Var OldFolder    # of the installation to replace
Var PathRoot     # the registry key of PATH
Var PathKey

!define MUI_ICON "packaging/icons/morvane.ico"
!define MUI_UNICON "${MUI_ICON}"
!define MUI_WELCOMEFINISHPAGE_BITMAP "${NSISDIR}/Contrib/Graphics/Wizard/nsis3-grey.bmp"
!define MUI_WELCOMEPAGE_TEXT "Morvane keeps a star-schema data warehouse in Microsoft SQL Server small and clean.$\r$\n$\r$\nTo install it only for yourself you do not need the rights of an administrator.$\r$\n$\r$\nA previous version is replaced. Your configuration files, logs and reports stay."
!define MUI_ABORTWARNING
!define MUI_COMPONENTSPAGE_SMALLDESC
!define MUI_FINISHPAGE_SHOWREADME
!define MUI_FINISHPAGE_SHOWREADME_TEXT "Show the first steps"
!define MUI_FINISHPAGE_SHOWREADME_FUNCTION ShowFirstSteps
!insertmacro MUI_PAGE_WELCOME
!insertmacro MUI_PAGE_LICENSE "${STAGE}/LICENSE.txt"
!insertmacro MULTIUSER_PAGE_INSTALLMODE
!insertmacro MUI_PAGE_COMPONENTS
!insertmacro MUI_PAGE_DIRECTORY
!insertmacro MUI_PAGE_INSTFILES
!insertmacro MUI_PAGE_FINISH
!insertmacro MUI_UNPAGE_CONFIRM
!insertmacro MUI_UNPAGE_INSTFILES
!insertmacro MUI_LANGUAGE "English"

# PATH is changed in memory that the System plug-in allocates and never passes through an NSIS string: those
# hold 1024 characters and would cut off a longer PATH. Its type and the variables in it stay as they are. An
# entry is added as ";folder" at the end, so that removing exactly this text restores the previous value.
!macro Functions un
    Function ${un}ModeChosen
        ${If} $MultiUser.InstallMode == "AllUsers"
            StrCpy $PathRoot 0x80000002  # HKEY_LOCAL_MACHINE
            StrCpy $PathKey "SYSTEM\CurrentControlSet\Control\Session Manager\Environment"
        ${Else}
            StrCpy $PathRoot 0x80000001  # HKEY_CURRENT_USER
            StrCpy $PathKey "Environment"
        ${EndIf}
        ${If} $GivenFolder != ""
            StrCpy $INSTDIR $GivenFolder
        ${EndIf}
    FunctionEnd

    # Sets $R0 to a buffer that contains ";PATH;" and has room for $INSTDIR, $R1 to the type of the value and $R2
    # to the place of ";$INSTDIR;" in it, or 0. $R3 is the error code.
    Function ${un}ReadPath
        StrCpy $R0 0
        # 0x10000006: a REG_SZ or REG_EXPAND_SZ, not expanded.
        System::Call 'advapi32::RegGetValueW(p $PathRoot, w "$PathKey", w "Path", i 0x10000006, *i .R1, p 0, *i .R4) i .R3'
        ${If} $R3 = 2  # there is none
            StrCpy $R1 2  # REG_EXPAND_SZ
            StrCpy $R4 2
        ${ElseIf} $R3 <> 0
            Return
        ${EndIf}
        StrCpy $R5 ";$INSTDIR;"
        StrLen $R6 $R5
        IntOp $R6 $R6 * 2
        IntOp $R6 $R6 + $R4
        IntOp $R6 $R6 + 16
        System::Alloc $R6
        Pop $R0
        System::Call 'kernel32::lstrcpyW(p R0, w ";")'
        IntPtrOp $R7 $R0 + 2
        ${If} $R3 = 0
            System::Call 'advapi32::RegGetValueW(p $PathRoot, w "$PathKey", w "Path", i 0x10000006, *i .R1, p R7, *i R4) i .R3'
        ${Else}
            StrCpy $R3 0
        ${EndIf}
        System::Call 'kernel32::lstrcatW(p R0, w ";")'
        System::Call 'shlwapi::StrStrIW(p R0, w R5) p .R2'
    FunctionEnd

    # Writes the text at the address $R7 as PATH and tells the desktop. $R3 is the error code.
    Function ${un}WritePath
        System::Call 'kernel32::lstrlenW(p R7) i .R4'
        ${If} $R4 > 32760  # the longest value of an environment variable
            StrCpy $R3 8
            Return
        ${EndIf}
        IntOp $R4 $R4 * 2
        IntOp $R4 $R4 + 2
        System::Call 'advapi32::RegSetKeyValueW(p $PathRoot, w "$PathKey", w "Path", i R1, p R7, i R4) i .R3'
        SendMessage ${HWND_BROADCAST} ${WM_SETTINGCHANGE} 0 "STR:Environment" /TIMEOUT=5000
    FunctionEnd

    # Stops while one of the programs in the folder $R0 runs or cannot be replaced, before anything is changed.
    Function ${un}RequireClosed
        FindFirst $R1 $R2 "$R0\morvane*.exe"
        ${DoWhile} $R2 != ""
            ${Do}
                ClearErrors
                FileOpen $R3 "$R0\$R2" a
                ${IfNot} ${Errors}
                    FileClose $R3
                    ${ExitDo}
                ${EndIf}
                ${If} ${Cmd} `MessageBox MB_RETRYCANCEL|MB_ICONEXCLAMATION "$R0\$R2 is running or cannot be changed. Close it and try again." /SD IDCANCEL IDCANCEL`
                    FindClose $R1
                    Abort "$R2 is running or cannot be changed."
                ${EndIf}
            ${Loop}
            FindNext $R1 $R2
        ${Loop}
        FindClose $R1
    FunctionEnd

    Function ${un}RemoveFiles
        !include "${REMOVE}"
    FunctionEnd
!macroend
!insertmacro Functions ""
!insertmacro Functions "un."

Section "Programs and documentation" Programs
    SectionIn RO
    ReadRegStr $OldFolder SHCTX "${KEY}" "InstallLocation"
    ${If} $OldFolder != ""
    ${AndIf} ${FileExists} "$OldFolder\uninstall.exe"
        StrCpy $R0 $OldFolder
        Call RequireClosed
        DetailPrint "Removing the old version..."
        ExecWait '"$OldFolder\uninstall.exe" /S /$MultiUser.InstallMode _?=$OldFolder' $R0
        ${If} $R0 <> 0
            Abort "The old version could not be removed."
        ${EndIf}
        # A program that runs in its own folder cannot delete itself.
        Delete "$OldFolder\uninstall.exe"
        RMDir "$OldFolder"
    ${EndIf}
    StrCpy $R0 $INSTDIR
    Call RequireClosed

    ClearErrors
    SetOutPath "$INSTDIR"
    File /r "${STAGE}/*"
    WriteUninstaller "$INSTDIR\uninstall.exe"
    ${If} ${Errors}
        Delete "$INSTDIR\uninstall.exe"
        SetOutPath "$TEMP"
        Call RemoveFiles
        RMDir "$INSTDIR"
        Abort "The files could not be written."
    ${EndIf}

    WriteRegStr SHCTX "${KEY}" "DisplayName" "Morvane"
    WriteRegStr SHCTX "${KEY}" "DisplayVersion" "${VERSION}"
    WriteRegStr SHCTX "${KEY}" "DisplayIcon" "$INSTDIR\morvane.exe"
    WriteRegStr SHCTX "${KEY}" "Publisher" "Morvane developers"
    WriteRegStr SHCTX "${KEY}" "InstallLocation" "$INSTDIR"
    WriteRegStr SHCTX "${KEY}" "UninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode'
    WriteRegStr SHCTX "${KEY}" "QuietUninstallString" '"$INSTDIR\uninstall.exe" /$MultiUser.InstallMode /S'
    WriteRegDWORD SHCTX "${KEY}" "EstimatedSize" ${KILOBYTES}
    WriteRegDWORD SHCTX "${KEY}" "NoModify" 1
    WriteRegDWORD SHCTX "${KEY}" "NoRepair" 1
SectionEnd

Section "Start menu entries" StartMenu
    CreateDirectory "$SMPROGRAMS\Morvane"
    SetOutPath "$INSTDIR"
    !ifdef WINDOWS
        CreateShortcut "$SMPROGRAMS\Morvane\Morvane.lnk" "$INSTDIR\morvane.exe"
        CreateShortcut "$SMPROGRAMS\Morvane\Try Morvane.lnk" "$INSTDIR\try-morvane.cmd" "" "$INSTDIR\morvane.exe"
    !endif
    CreateShortcut "$SMPROGRAMS\Morvane\Documentation.lnk" "$INSTDIR\README.html"
SectionEnd

Section /o "Add to PATH" Path
    System::Call 'shlwapi::StrPBrkW(w "$INSTDIR", w ";%") p .R0'
    ${If} $R0 != 0
        DetailPrint "PATH was not changed: the name of the folder contains a semicolon or a percent sign."
        Return
    ${EndIf}
    Call ReadPath
    ${If} $R3 = 0
    ${AndIf} $R2 == 0
        IntPtrOp $R7 $R0 + 2
        System::Call 'kernel32::lstrlenW(p R0) i .R4'
        ${If} $R4 = 2  # PATH was empty
            IntPtrOp $R7 $R7 + 2
        ${EndIf}
        System::Call 'kernel32::lstrcatW(p R0, w "$INSTDIR")'
        Call WritePath
        ${If} $R3 = 0
            WriteRegDWORD SHCTX "${KEY}" "Path" 1
        ${EndIf}
    ${EndIf}
    ${If} $R3 <> 0
        DetailPrint "PATH was not changed: error $R3."
    ${EndIf}
    System::Free $R0
SectionEnd

!insertmacro MUI_FUNCTION_DESCRIPTION_BEGIN
    !insertmacro MUI_DESCRIPTION_TEXT ${Programs} "The programs, the documentation and example configurations."
    !insertmacro MUI_DESCRIPTION_TEXT ${StartMenu} "A folder of the start menu."
    !insertmacro MUI_DESCRIPTION_TEXT ${Path} "Makes morvane, morvane-inspect and morvane-nightly commands of every console."
!insertmacro MUI_FUNCTION_DESCRIPTION_END

Function .onInit
    ${IfNot} ${RunningX64}
    ${OrIfNot} ${AtLeastBuild} 18362
        MessageBox MB_OK|MB_ICONSTOP "Morvane requires 64-bit Windows 10 1903, Windows Server 2022 or later." /SD IDOK
        SetErrorLevel 2
        Quit
    ${EndIf}
    SetRegView 64
    StrCpy $GivenFolder $INSTDIR
    ${GetParameters} $R0
    ${If} ${Silent}  # MultiUser.nsh would show a message
        UserInfo::GetAccountType
        Pop $R1
        ClearErrors
        ${GetOptions} $R0 "/AllUsers" $R2
        ${IfNot} ${Errors}
        ${AndIf} $R1 != "Admin"
            SetErrorLevel 2
            Quit
        ${EndIf}
    ${EndIf}
    !insertmacro MULTIUSER_INIT

    # An upgrade leaves PATH as it is unless told otherwise.
    ReadRegDWORD $R1 SHCTX "${KEY}" "Path"
    ClearErrors
    ${GetOptions} $R0 "/PATH=" $R2
    ${IfNot} ${Errors}
        StrCpy $R1 $R2
    ${EndIf}
    ${If} $R1 == 1
        !insertmacro SelectSection ${Path}
    ${EndIf}
FunctionEnd

# Through the shell, since the installer may run with the rights of an administrator and a browser should not.
Function ShowFirstSteps
    Exec '"$WINDIR\explorer.exe" "$INSTDIR\docs\first-ten-minutes-on-windows.html"'
FunctionEnd

Function un.onInit
    SetRegView 64
    StrCpy $GivenFolder $INSTDIR  # not what the registry says
    !insertmacro MULTIUSER_UNINIT
FunctionEnd

Section "Uninstall"
    StrCpy $R0 $INSTDIR
    Call un.RequireClosed
    ReadRegDWORD $R8 SHCTX "${KEY}" "Path"
    ${If} $R8 = 1
        Call un.ReadPath
        ${If} $R3 = 0
        ${AndIf} $R2 != 0
            # Everything after ";folder" moves to its place; then the last ";" goes.
            StrLen $R4 ";$INSTDIR"
            IntOp $R4 $R4 * 2
            IntPtrOp $R5 $R2 + $R4
            System::Call 'kernel32::lstrlenW(p R5) i .R6'
            IntOp $R6 $R6 * 2
            IntOp $R6 $R6 + 2
            System::Call 'kernel32::RtlMoveMemory(p R2, p R5, p R6)'
            System::Call 'kernel32::lstrlenW(p R0) i .R6'
            ${If} $R6 < 2
                System::Call 'advapi32::RegDeleteKeyValueW(p $PathRoot, w "$PathKey", w "Path")'
            ${Else}
                IntOp $R6 $R6 - 1
                IntOp $R6 $R6 * 2
                IntPtrOp $R6 $R0 + $R6
                System::Call '*$R6(&i2 0)'
                IntPtrOp $R7 $R0 + 2
                Call un.WritePath
            ${EndIf}
        ${EndIf}
        System::Free $R0
    ${EndIf}
    Delete "$SMPROGRAMS\Morvane\Morvane.lnk"
    Delete "$SMPROGRAMS\Morvane\Try Morvane.lnk"
    Delete "$SMPROGRAMS\Morvane\Documentation.lnk"
    RMDir "$SMPROGRAMS\Morvane"
    Call un.RemoveFiles
    Delete "$INSTDIR\uninstall.exe"
    RMDir "$INSTDIR"
    DeleteRegKey SHCTX "${KEY}"
SectionEnd
