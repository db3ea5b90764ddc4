# PowerShell completion for mos. Load it in the profile: . PATH/mos.ps1
#
# A long option takes the bare word that follows it as its value, whatever the option is:
# `mos --json list` is the option json with the value "list", and no command at all. So options are
# offered last, after the command word and its arguments, and never before the command word.

Register-ArgumentCompleter -Native -CommandName mos -ScriptBlock {
    param($wordToComplete, $commandAst, $cursorPosition)

    $commands = [ordered]@{
        'new' = 'create a new Moss project'
        'init' = 'make the current directory a Moss package'
        'build' = 'compile the current project'
        'run' = 'run the entry point of the project'
        'check' = 'type-check without running'
        'clean' = 'remove the packages directory'
        'add' = 'add a dependency to moss.toml and install'
        'remove' = 'remove a dependency from moss.toml'
        'install' = 'install all dependencies'
        'update' = 'choose every version afresh and install'
        'list' = 'list direct dependencies'
        'tree' = 'show the whole dependency tree'
        'package' = 'build the .mos archive'
        'publish' = 'build the .mos archive and upload it'
        'login' = 'log in to the registry'
        'logout' = 'forget the saved login'
        'whoami' = 'show who is logged in'
        'search' = 'search the registry'
        'info' = 'show a package and its versions'
        'cache' = 'manage the cache of archives'
        'help' = 'show the help text'
        'version' = 'show the version'
    }
    $options = @{
        'add' = '--dev', '--path', '--git', '--branch', '--tag', '--rev', '--dry-run', '--offline'
        'build' = '--release', '--workspace'
        'install' = '--locked', '--offline'
        'login' = '--token', '--username', '--password'
        'publish' = , '--token'
        'run' = , '--'
        'update' = '--dry-run', '--offline'
    }
    $generalOptions = '--json', '--help', '-h', '--version', '-v', '-vv', '-vvv'
    $subcommands = [ordered]@{
        'list' = 'list the cached archives'
        'clean' = 'delete every cached archive'
        'path' = 'print the tool home'
    }
    $valueOptions = '--path', '--git', '--branch', '--tag', '--rev',
        '--token', '--username', '--password'
    $commandsWithArgument = 'add', 'cache', 'info', 'new', 'remove', 'search'

    function Complete([System.Collections.IDictionary]$words) {
        foreach ($word in $words.Keys) {
            if ($word.StartsWith($wordToComplete, [StringComparison]::Ordinal)) {
                [System.Management.Automation.CompletionResult]::new(
                    $word, $word, 'ParameterValue', $words[$word])
            }
        }
    }

    # What stands before the cursor, read as mos reads it.
    $command = ''
    $arguments = 0
    $openOption = ''
    $typed = [int]($wordToComplete.Length -gt 0)
    $before = $commandAst.CommandElements | Select-Object -Skip 1 | Select-Object -SkipLast $typed |
        ForEach-Object { $_.Extent.Text }
    foreach ($word in $before) {
        if ($openOption -and -not $word.StartsWith('-')) {
            $openOption = ''
            continue
        }
        $openOption = ''
        if ($word -ceq '--') {
            return # Nothing is offered, so PowerShell completes file names.
        } elseif ($word.StartsWith('--')) {
            if (-not $word.Contains('=')) { $openOption = $word }
        } elseif ($word.StartsWith('-')) {
            continue
        } elseif (-not $command) {
            $command = $word
        } else {
            $arguments++
        }
    }

    if ($valueOptions -ccontains $openOption) {
        return # The value is the user's; PowerShell completes file names.
    }
    if ($command -and $wordToComplete.StartsWith('-')) {
        $wanted = [int]($commandsWithArgument -ccontains $command)
        if ($arguments -ge $wanted -and 'help', 'version' -cnotcontains $command) {
            $offered = [ordered]@{}
            foreach ($option in @($options[$command]) + $generalOptions) {
                if ($option) { $offered[$option] = $option }
            }
            Complete $offered
        }
    } elseif ($openOption) {
        return # A bare word would be taken as its value.
    } elseif (-not $command) {
        Complete $commands
    } elseif ($command -ceq 'cache' -and $arguments -eq 0) {
        Complete $subcommands
    }
}
