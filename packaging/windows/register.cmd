@echo off
rem Registers the property handler where these files lie. Run as administrator; the folder must stay.
setlocal
rem By their paths: programs of such names may lie where this is run.
set reg="%SystemRoot%\System32\reg.exe"
set find="%SystemRoot%\System32\find.exe"
set ours={D8D1CE8C-B1EB-4E95-B63B-1531BA60E992}
set handlers=Microsoft\Windows\CurrentVersion\PropertySystem\PropertyHandlers
set associations=HKLM\Software\Classes\SystemFileAssociations
call :keep .mkv
call :keep .qivo
del "%TEMP%\qivo-handler.txt"
"%SystemRoot%\System32\regsvr32.exe" /s "%~dp0x64\QivoPropertyHandler.dll"
if errorlevel 1 goto failed
if not exist "%SystemRoot%\SysWOW64\regsvr32.exe" goto done
"%SystemRoot%\SysWOW64\regsvr32.exe" /s "%~dp0x86\QivoPropertyHandler.dll"
if errorlevel 1 goto failed
:done
echo Registered.
exit /b 0
:failed
echo Could not register. Was this run as administrator?
exit /b 1

rem What another handler has registered is kept for unregister.cmd.
:keep
%reg% query "HKLM\Software\%handlers%\%1" /ve >"%TEMP%\qivo-handler.txt" 2>nul
%find% "%ours%" "%TEMP%\qivo-handler.txt" >nul
if not errorlevel 1 goto :eof
call :copy "HKLM\Software\%handlers%\%1" "HKLM\Software\Qivo\PropertyHandler\Displaced\PropertyHandlers\%1"
call :copy "HKLM\Software\Wow6432Node\%handlers%\%1" "HKLM\Software\Wow6432Node\Qivo\PropertyHandler\Displaced\PropertyHandlers\%1"
call :copy "%associations%\%1" "HKLM\Software\Qivo\PropertyHandler\Displaced\SystemFileAssociations\%1"
goto :eof

:copy
%reg% query %1 >nul 2>nul
if not errorlevel 1 %reg% copy %1 %2 /f >nul
goto :eof
