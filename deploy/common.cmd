@echo off
rem What the other command files of this folder do. Each of them starts this file with its own name as the first
rem argument:
rem
rem   install    "source folder" "install root" [/task]
rem   upgrade    "source folder" ["install root"]
rem   enable     ["install root"] [/logon]
rem   disable    ["install root"] [/permanent]
rem   detect     ["install root"] [/task]
rem   uninstall  ["install root"] [/all]
rem
rem Exit codes: 0 done; 3010 done, but a restart is needed; 1 not done, or done in part.
rem
rem A folder may have any name that Windows allows. Therefore:
rem   every path is quoted;
rem   delayed expansion is off: it removes exclamation marks;
rem   no path is an argument of "call", which doubles carets and expands percent signs again: subroutines get their
rem   paths in variables;
rem   what a "for" executes contains no path but its own: a percent sign before its letter would count as its variable;
rem   no path is part of a pipe, which expands percent signs again.
rem Programs of Windows are started by their full paths. There is no && and no ||: the command interpreter of Wine 8, on
rem which the tests run, always executes what follows.
setlocal EnableExtensions DisableDelayedExpansion
rem An environment variable of this name would hide the exit code.
set "ERRORLEVEL="
if "%~1"=="again" goto native

set "what=%~1"
set "one="
set "two="
for %%O in (task logon permanent all) do set "%%O="
:next_argument
shift /1
set "argument=%~1"
if not defined argument goto arguments_read
if "%argument:~0,1%"=="/" goto option
if defined two goto usage
if defined one set "two=%argument%"
if not defined one set "one=%argument%"
goto next_argument
:option
for %%O in (task logon permanent all) do if /i "%argument%"=="/%%O" set "%%O=yes"
for %%O in (task logon permanent all) do if /i "%argument%"=="/%%O" set "argument="
if defined argument goto usage
goto next_argument

:arguments_read
set "source="
set "root=%one%"
if "%what%"=="install" set "source=%one%"
if "%what%"=="upgrade" set "source=%one%"
if defined source set "root=%two%"
if not defined source if defined two goto usage
for %%W in (install upgrade) do if "%what%"=="%%W" if not defined source goto usage
for %%D in ("%~dp0.") do set "here=%%~fD"
for %%D in ("%here%\..") do set "programs=%%~fD"
rem The copies that an installation keeps know their install root.
for %%D in ("%programs%") do set "name=%%~nxD"
if not defined root if /i "%name%"=="VELA setup" set "root=%programs%\.."
if not defined root goto usage
rem Full paths, without a backslash at the end: before a quotation mark it would escape that.
for %%D in ("%root%") do set "root=%%~fD"
if "%root:~-1%"=="\" set "root=%root:~0,-1%"
if defined source for %%D in ("%source%") do set "source=%%~fD"
if defined source if "%source:~-1%"=="\" set "source=%source:~0,-1%"
rem The root of a drive needs something behind it: "D:" alone is the current folder of that drive.
set "from_here=%source%"
if "%source:~1%"==":" set "from_here=%source%\."

rem A 32-bit program (such as the agent of a management tool) gets a 32-bit command interpreter, which sees other
rem registry keys and another System32. Continue in the 64-bit one.
if not defined PROCESSOR_ARCHITEW6432 goto native
if not exist "%SystemRoot%\Sysnative\cmd.exe" goto only_32_bit
set "self=%~f0"
cd /d "%SystemRoot%"
rem With /all this file may be deleted meanwhile. The whole block has been read before that. Even "exit /b" may read the
rem file again, and fail; a "goto" without a label leaves it without that.
(
  "%SystemRoot%\Sysnative\cmd.exe" /d /c ""%%self%%" again"
  if not errorlevel 0 exit /b 1
  if errorlevel 3011 exit /b 1
  if errorlevel 3010 exit /b 3010
  if errorlevel 1 exit /b 1
  if exist "%self%" exit /b 0
  (goto) 2>nul & "%SystemRoot%\System32\cmd.exe" /d /c exit 0
)

:native
rem Before Windows Vista regsvr32.exe is searched for in the current folder, too.
cd /d "%SystemRoot%\System32"
set "tools=%SystemRoot%\System32"
set "logs=%SystemRoot%\Temp\QRTX_Debug"
set "log=%logs%\vela.log"
set "setup=%root%\VELA setup"
set "bin=%setup%"
if not exist "%setup%\VELAutil.exe" set "bin=%programs%"
set "product_key=HKLM\SOFTWARE\Wow6432Node\OrvaneLabs\BastionNTCorp\CurrentVersion\VELA"
set "addin_key=HKLM\SOFTWARE\Microsoft\Office\Outlook\Addins\VELA_OLA.OLAgent"
set "plugins_key=HKLM\SOFTWARE\Nektra\WLMailAPi\Plugins"
set "run_key=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Run"
set "session_key=HKLM\SYSTEM\CurrentControlSet\Control\Session Manager"
set "renames=PendingFileRenameOperations"
set "folders_key=HKLM\SOFTWARE\Microsoft\Windows\CurrentVersion\Explorer\Shell Folders"
set "modules_ol=Redemption.dll VELA_OLA.dll"
set "modules_oe=oeapiinitcom.dll oecom.dll oestore.dll VELA_OEWab.dll"
set "modules_wlm=WLMailApiInit.dll WLMailApiCom.dll WLMailApiStore.dll WLMailApiContacts.dll"
set "code=0"
set "data=%ProgramData%"
if defined data goto data_known
for /f "tokens=3,*" %%A in ('%tools%\reg.exe query "%folders_key%" /v "Common AppData"') do set "data=%%B"
:data_known
set "shared=%data%\Orvane Labs"
for %%W in (install upgrade enable disable detect uninstall) do if "%what%"=="%%W" goto do_%%W

:usage
echo VELA: wrong arguments. Put each folder in quotation marks.
echo   install.cmd   "source folder" "install root" [/task]
echo   upgrade.cmd   "source folder" ["install root"]
echo   enable.cmd    ["install root"] [/logon]
echo   disable.cmd   ["install root"] [/permanent]
echo   detect.cmd    ["install root"] [/task]
echo   uninstall.cmd ["install root"] [/all]
echo Only the copies in the folder "VELA setup" know their install root.
exit /b 1

:only_32_bit
echo VELA: started by a 32-bit program. This Windows needs a 64-bit one to start it.
exit /b 1


:do_install
call :find_product
call :check_restart
if errorlevel 1 exit /b 1
call :check_source
if errorlevel 1 exit /b 1
if defined task call :check_task
if errorlevel 1 exit /b 1
call :copy_programs
if errorlevel 1 exit /b 1
call :copy_source
if errorlevel 1 exit /b 1
call :prepare_log
if errorlevel 1 exit /b 1
set "switch=-I"
set "from=%setup%\source"
set "folder=%root%"
call :run
if "%code%"=="1" exit /b 1
call :find_product
call :check_registration
if defined task if not "%code%"=="1" call :create_task
if "%code%"=="0" call :check_waiting
exit /b %code%

:do_upgrade
call :find_product
call :check_installed
if errorlevel 1 exit /b 1
call :check_restart
if errorlevel 1 exit /b 1
call :check_source
if errorlevel 1 exit /b 1
call :copy_programs
if errorlevel 1 exit /b 1
call :copy_source
if errorlevel 1 exit /b 1
call :prepare_log
if errorlevel 1 exit /b 1
set "switch=-p"
set "from=%setup%\source"
set "folder=%root%"
call :run
if "%code%"=="0" call :check_waiting
exit /b %code%

:do_enable
call :find_product
call :check_installed
if errorlevel 1 exit /b 1
call :prepare_log
if errorlevel 1 exit /b 1
set "switch=-e"
set "from=."
set "folder=%base%"
if not defined logon call :run
rem The start-up values of the monitors are one folder above the monitors that the program starts. So this second run
rem starts none, and its log has errors. What it is for is checked instead.
call :rotate_log
"%bin%\VELAutil.exe" -e . "%base%\VELA"
call :check_switches on
exit /b %code%

:do_disable
call :find_product
call :check_installed
if errorlevel 1 exit /b 1
call :prepare_log
if errorlevel 1 exit /b 1
if defined permanent call :delete_task
set "switch=-d"
set "from=."
set "folder=."
call :run
rem The program writes the same lines for a start-up value that it cannot delete and for one that does not exist.
call :check_switches off
if defined permanent exit /b %code%
call :look_for_task
if not defined no_task echo VELA: the task VELA enable switches filtering on at the next log-on. /permanent deletes it.
exit /b %code%

:do_detect
call :find_product
call :check_root
if errorlevel 1 exit /b 1
call :look_for_product
if not defined found goto not_installed
if defined missing goto half_installed
set "no_task="
if defined task call :look_for_task
if defined no_task goto without_task
call :look_for_waiting
if not defined waits goto installed
echo VELA: installed in "%base%". Files wait for the restart.
exit /b 3010
:installed
echo VELA: installed in "%base%".
exit /b 0
:half_installed
echo VELA: installed in part in "%base%". Missing:%missing%
exit /b 1
:without_task
echo VELA: installed in "%base%", but the task VELA enable is missing, or this user may not see it.
exit /b 1
:not_installed
echo VELA: not installed in "%base%".
exit /b 1

:do_uninstall
call :find_product
call :check_root
if errorlevel 1 exit /b 1
call :prepare_log
if errorlevel 1 exit /b 1
rem The task would write the add-in key and the start-up values again.
call :delete_task
set "switch=-U"
set "from=."
set "folder=%base%"
rem If an earlier uninstallation has done everything, another one would only report what it does not find.
call :look_for_product
set "rest="
set "done="
set "place=%base%"
call :look_for_rest VELA
set "place=%shared%"
for %%N in (OL OE WLM VELA_common) do call :look_for_rest %%N
if not defined found if not defined rest echo VELA: not installed in "%base%": nothing to uninstall.
if not defined found if not defined rest goto removed
call :run
rem The log does not show deletions that wait for the restart.
set "done=yes"
set "place=%base%"
call :look_for_rest VELA
set "place=%shared%"
for %%N in (OL OE WLM VELA_common) do call :look_for_rest %%N
:removed
if not defined all exit /b %code%
if not "%code%"=="0" echo VELA: /all does nothing yet. Restart, or do what is said above, and run it again.
if not "%code%"=="0" exit /b %code%
echo VELA: /all deletes the settings, the log and "%setup%".
"%tools%\reg.exe" delete "%product_key%" /f >nul 2>nul
rmdir "%base%" 2>nul
rmdir "%shared%" 2>nul
del "%log%" 2>nul
del "%logs%\vela.old.log" 2>nul
rmdir "%logs%" 2>nul
rem The command files are the last: if something else is in use, they are needed again.
rmdir /s /q "%setup%\source" 2>nul
del "%setup%\VELAutil.exe" "%setup%\VELAlog.exe" 2>nul
if exist "%setup%\source\" goto setup_in_use
if exist "%setup%\VELAutil.exe" goto setup_in_use
if exist "%setup%\VELAlog.exe" goto setup_in_use
rem This file may be in that folder. So nothing is read from it after this block: see above.
(
  rmdir /s /q "%setup%" 2>nul
  rmdir "%root%" 2>nul
  if exist "%setup%\" echo VELA: "%setup%" could not be deleted.
  if exist "%setup%\" exit /b 1
  if exist "%here%\common.cmd" exit /b 0
  (goto) 2>nul & "%tools%\cmd.exe" /d /c exit 0
)
rem The command interpreter of Wine 8 keeps the file open, so its folder stays, and the block ends with 1. It would also
rem come here: it does not leave the file.
exit /b 0
:setup_in_use
echo VELA: "%setup%" is in use. Close what uses it, and run this again.
exit /b 1


rem ---- Subroutines. Most end with 1 if they failed.

rem Ends the work as a failure, but goes on.
:failure
echo VELA: %~1.
set "code=1"
exit /b 0

rem `base`: the product folder. With a name that the program does not accept it is in the common data folder, and only
rem the registry says so.
:find_product
set "base=%root%\Orvane Labs"
set "installed="
for /f "tokens=2,*" %%A in ('%tools%\reg.exe query %product_key% /v VELAInstallPath 2^>nul') do set "installed=%%B"
if /i "%installed%"=="%shared%\" set "base=%shared%"
exit /b 0

rem Files that an uninstallation left for the restart would be deleted then, also if they were installed again. That is
rem so even if another uninstallation has deleted them since: the list is not shortened. (An entry for the folder VELA
rem alone does no harm, because only an empty folder is deleted.)
:check_restart
set "scheduled="
for %%S in (Resource VELA_OL VELA_OE VELA_WLM) do call :look_in_list VELA\%%S
if not defined scheduled exit /b 0
echo VELA: an uninstallation waits for the restart. Restart first.
exit /b 1

rem A mistyped root: the program would change the entries of the product in the other folder.
:check_root
if exist "%base%\VELA\" exit /b 0
if not defined installed exit /b 0
if /i "%installed%"=="%base%\" exit /b 0
if not exist "%installed%VELA\" exit /b 0
echo VELA: not installed in "%base%", but in "%installed:~0,-1%". Pass the folder above that one.
exit /b 1

:check_installed
if exist "%base%\VELA\" exit /b 0
call :check_root
if errorlevel 1 exit /b 1
echo VELA: not installed in "%base%".
exit /b 1

rem The program copies what is there, and registers the rest without a word. A folder that it copies as a whole must have
rem a file, in it or below it.
:check_source
set "missing="
for %%M in (%modules_ol%) do call :look_in_source OL\%%M
for %%M in (%modules_wlm% VELA_WLMA.dll VELA_WLMMon.exe) do call :look_in_source WLM\%%M
for %%M in (VELA_OL.ini VELA_WLM.ini) do call :look_in_source Resource\common\%%M
for %%F in (Common\win32 rule Resource\x64) do call :look_for_any_in_source %%F
if not exist "%source%\OE64\" goto source_looked_at
for %%M in (%modules_oe% VELA_OEMon.exe) do call :look_in_source OE64\%%M
call :look_in_source Resource\common\VELA_OE.ini
call :look_for_any_in_source Common\win64
:source_looked_at
if not defined missing exit /b 0
echo VELA: "%source%" is no complete source, or cannot be read. Missing:%missing%
exit /b 1

:look_in_source
if not exist "%source%\%1" set "missing=%missing% %1"
exit /b 0

:look_for_any_in_source
dir /s /b /a-d "%source%\%1" >nul 2>nul
if errorlevel 1 set "missing=%missing% %1\*"
exit /b 0

rem The program, its log reader and the command files stay on the machine: for the log-on task, an upgrade and the
rem uninstallation.
:copy_programs
if /i "%programs%"=="%setup%" exit /b 0
if not exist "%setup%\deploy\" mkdir "%setup%\deploy"
set "differs="
for %%P in (VELAutil.exe VELAlog.exe deploy\enable-task.xml) do call :copy_program %%P
for %%P in (common install upgrade enable disable detect uninstall) do call :copy_program deploy\%%P.cmd
if defined differs goto copy_failed
set "bin=%setup%"
exit /b 0

:copy_program
copy /b /y "%programs%\%1" "%setup%\%1" >nul
"%tools%\fc.exe" /b "%programs%\%1" "%setup%\%1" >nul
if not "%ERRORLEVEL%"=="0" set "differs=yes"
exit /b 0

rem A copy of the source on the machine: the program takes a read error, of a share for example, for the end of a file.
rem A copy that failed does not replace the last one.
:copy_source
if /i "%source%"=="%setup%\source" exit /b 0
if exist "%setup%\source.new\" rmdir /s /q "%setup%\source.new"
if exist "%setup%\source.new\" goto copy_failed
"%tools%\xcopy.exe" "%from_here%" "%setup%\source.new" /E /I /H /K /R /Y /Q >nul
if not "%ERRORLEVEL%"=="0" goto copy_failed
call :compare_sources
if defined differs goto copy_failed
if exist "%setup%\source\" rmdir /s /q "%setup%\source"
ren "%setup%\source.new" source
if exist "%setup%\source.new\" goto copy_failed
exit /b 0

:copy_failed
echo VELA: the copy in "%setup%" could not be written, or is not the same as its source.
exit /b 1

rem As many files, and each the same as the one of its name. Hidden files are not compared.
:compare_sources
set "differs="
set "count=0"
for /r "%from_here%" %%F in (*) do set /a count+=1
for /r "%setup%\source.new" %%F in (*) do (
  set "file=%%F"
  call :compare_file
)
if not "%count%"=="0" set "differs=yes"
exit /b 0

:compare_file
set /a count-=1
set "name=%file:*\source.new\=%"
"%tools%\fc.exe" /b "%source%\%name%" "%file%" >nul
if not "%ERRORLEVEL%"=="0" set "differs=yes"
exit /b 0

rem Whoever owns the log's folder can write the verdict. Every user can create it, so create it first, for
rem administrators and the local system alone; a link there is refused.
:prepare_log
if exist "%logs%\" goto log_folder_exists
mkdir "%logs%"
"%tools%\icacls.exe" "%logs%" /inheritance:r /grant:r "*S-1-5-18:(OI)(CI)F" "*S-1-5-32-544:(OI)(CI)F" >nul 2>nul
:log_folder_exists
set "attributes=-"
for %%D in ("%logs%") do set "attributes=%%~aD"
rem It could not be created: the run will show that.
if not defined attributes exit /b 0
if "%attributes:l=%"=="%attributes%" exit /b 0
echo VELA: "%logs%" is a link. Remove it: see security.html, "The run log's place".
exit /b 1

:rotate_log
if exist "%log%" for %%F in ("%log%") do if %%~zF GTR 1000000 move /y "%log%" "%logs%\vela.old.log" >nul
exit /b 0

rem Runs the program with `switch`, `from` and `folder`, and reads the verdict of its log into `code`. If nothing was
rem added to the log, the last run in it is an older one.
:run
call :rotate_log
set "before=0"
if exist "%log%" for %%F in ("%log%") do set "before=%%~zF"
"%bin%\VELAutil.exe" %switch% "%from%" "%folder%"
set "after=0"
if exist "%log%" for %%F in ("%log%") do set "after=%%~zF"
if "%before%"=="%after%" goto no_log
"%bin%\VELAlog.exe"
set "verdict=%ERRORLEVEL%"
if "%verdict%"=="0" exit /b 0
if "%verdict%"=="3010" if "%code%"=="0" set "code=3010"
if not "%verdict%"=="3010" set "code=1"
exit /b 0
:no_log
echo VELA: VELAutil.exe %switch% could not be started, or could not write "%log%".
set "code=1"
exit /b 0

rem Copies of an earlier run that wait for the restart: they replace the files then, also if those are of another source
rem now. The log of this run does not name them.
:check_waiting
call :look_for_waiting
if not defined waits exit /b 0
echo VELA: an earlier run left these copies. At the restart they replace the installed files:
dir /s /b /a-d "%base%\VELA\*.tmp_"
echo VELA: restart, and repeat this if they are of another source.
set "code=3010"
exit /b 0

:look_for_waiting
set "waits="
dir /s /b /a-d "%base%\VELA\*.tmp_" >nul 2>nul
if errorlevel 1 exit /b 0
"%tools%\reg.exe" query "%session_key%" /v %renames% 2>nul | "%tools%\find.exe" ".tmp_" >nul
if not errorlevel 1 set "waits=yes"
exit /b 0

rem The program only notices that regsvr32.exe was started, and not how it ended. So each module is registered once
rem more. Outlook's and Windows Live Mail's modules are 32-bit.
:check_registration
set "regsvr32=%SystemRoot%\SysWOW64\regsvr32.exe"
if not exist "%regsvr32%" set "regsvr32=%tools%\regsvr32.exe"
for %%M in (%modules_ol%) do call :register VELA_OL\%%M
for %%M in (%modules_wlm%) do call :register VELA_WLM\%%M
set "regsvr32=%tools%\regsvr32.exe"
if exist "%base%\VELA\VELA_OE\" for %%M in (%modules_oe%) do call :register VELA_OE\%%M
exit /b 0

:register
"%regsvr32%" /s "%base%\VELA\%1"
set "result=%ERRORLEVEL%"
if "%result%"=="0" exit /b 0
echo VELA: %1 is not registered: regsvr32.exe ended with %result%. See messages.html, "By hand".
set "code=1"
exit /b 0

rem Does the file of the task name the copy of enable.cmd? XML has another spelling for an ampersand of the path. Wine's
rem find.exe has no /i.
:check_task
set "task_file=%programs%\deploy\enable-task.xml"
set "named=%setup:&=&amp;%\deploy\enable.cmd"
"%tools%\find.exe" "%named%" "%task_file%" >nul 2>nul
if not errorlevel 1 exit /b 0
"%tools%\find.exe" /i "%named%" "%task_file%" >nul 2>nul
if not errorlevel 1 exit /b 0
"%tools%\find.exe" "</Arguments>" "%task_file%" >nul 2>nul
if errorlevel 1 goto no_task_file
echo VELA: enable-task.xml does not name "%setup%\deploy\enable.cmd". Change that line in
echo   "%task_file%", and repeat.
exit /b 1
:no_task_file
echo VELA: "%task_file%" could not be read, or has no line with Arguments.
exit /b 1

:create_task
"%tools%\schtasks.exe" /Create /F /TN "VELA enable" /XML "%setup%\deploy\enable-task.xml" >nul
if errorlevel 1 call :failure "the task VELA enable could not be created"
exit /b 0

rem Deleting fails, too, if there is no task.
:delete_task
"%tools%\schtasks.exe" /Delete /F /TN "VELA enable" >nul 2>nul
if not errorlevel 1 exit /b 0
call :look_for_task
if not defined no_task call :failure "the task VELA enable could not be deleted"
exit /b 0

:look_for_task
set "no_task="
"%tools%\schtasks.exe" /Query /TN "VELA enable" >nul 2>nul
if errorlevel 1 set "no_task=yes"
exit /b 0

rem Are the stored values those of filtering that is on, or off?
:check_switches
set "wanted=%1"
"%tools%\reg.exe" query "%run_key%" /v WLM 2>nul | "%tools%\find.exe" "\VELA\VELA_WLM\VELA_WLMMon.exe" >nul
call :must_be_%wanted% "the start-up value WLM is wrong"
if not exist "%base%\VELA\VELA_OE\" goto oe_checked
"%tools%\reg.exe" query "%run_key%" /v OE 2>nul | "%tools%\find.exe" "\VELA\VELA_OE\VELA_OEMon.exe" >nul
call :must_be_%wanted% "the start-up value OE is wrong"
:oe_checked
"%tools%\reg.exe" query "%addin_key%" /v LoadBehavior 2>nul | "%tools%\find.exe" "0x3" >nul
call :must_be_%wanted% "Outlook's add-in is not switched %wanted%"
"%tools%\reg.exe" query "%product_key%" /v VELAEnable 2>nul | "%tools%\find.exe" "0x1" >nul
call :must_be_%wanted% "the switch VELAEnable is not %wanted%"
exit /b 0

:must_be_on
if errorlevel 1 call :failure %1
exit /b 0

:must_be_off
if not errorlevel 1 call :failure %1
exit /b 0

rem Installed are all files that the clients need, and the registry entries that an installation writes and an
rem uninstallation deletes. (VELAInstallPath is written first, and stays.)
:look_for_product
set "found="
set "missing="
for %%M in (%modules_ol% VELA_OL.ini) do call :look_for_file VELA_OL\%%M
for %%M in (%modules_wlm% VELA_WLMA.dll VELA_WLMMon.exe VELA_WLM.ini) do call :look_for_file VELA_WLM\%%M
if not exist "%base%\VELA\VELA_OE\" goto oe_looked_for
for %%M in (%modules_oe% VELA_OEMon.exe VELA_OE.ini) do call :look_for_file VELA_OE\%%M
:oe_looked_for
call :look_for_value %addin_key% LoadBehavior
call :look_for_value %plugins_key% WLMAilApiCppDllClient
exit /b 0

:look_for_file
if exist "%base%\VELA\%1" set "found=yes"
if not exist "%base%\VELA\%1" set "missing=%missing% %1"
exit /b 0

:look_for_value
"%tools%\reg.exe" query "%1" /v %2 >nul 2>nul
if errorlevel 1 goto no_value
set "found=yes"
exit /b 0
:no_value
set "missing=%missing% %1\%2"
exit /b 0

rem A folder that an uninstallation deletes. It can wait for the restart, or stay.
:look_for_rest
if not exist "%place%\%1\" exit /b 0
set "rest=yes"
if not defined done exit /b 0
call :is_scheduled %1
if errorlevel 1 goto rest_stays
echo VELA: "%place%\%1" is in use. It is deleted at the restart.
if "%code%"=="0" set "code=3010"
exit /b 0
:rest_stays
echo VELA: "%place%\%1" could not be deleted.
set "code=1"
exit /b 0

rem Is the deletion of this folder in Windows' list for the restart? (The list also names folders that do not exist.)
rem reg.exe writes \0 after each entry but the last, which may be this folder. The folders in it come before it.
:is_scheduled
set "scheduled="
for %%S in (%1 %1\Resource %1\VELA_OL %1\VELA_OE %1\VELA_WLM %1\Users) do call :look_in_list %%S
if defined scheduled exit /b 0
exit /b 1

:look_in_list
"%tools%\reg.exe" query "%session_key%" /v %renames% 2>nul | "%tools%\find.exe" "\Orvane Labs\%1\0" >nul
if errorlevel 1 exit /b 0
set "scheduled=yes"
exit /b 0
