-- jsoncodec lsp in a real editor: Neovim's built-in client (0.7 and later),
-- headless. Run as
--   JSONCODEC=... DOCUMENT=... WORK=... nvim --headless --clean -c 'luafile lsp_nvim.lua'
-- It opens a policy with misspelled keys after wide characters, a missing
-- property and a misspelled enum value; checks where each diagnostic
-- stands; takes the preferred quick fix of each; completes a key and a
-- value; hovers; outlines; takes every preferred fix at once
-- (source.fixAll); formats, and compares the text with `jsoncodec format`.
-- Exits 0 when every step passes.
local tool = os.getenv('JSONCODEC')
local work = os.getenv('WORK')
local path = work .. '/policy.json'
local failures = 0

local function say(text) io.stdout:write(text .. '\n') end
local function check(ok, what, detail)
  if ok then
    say('ok: ' .. what)
  else
    failures = failures + 1
    say('FAIL: ' .. what .. (detail and (': ' .. vim.inspect(detail)) or ''))
  end
  return ok
end

local function lines() return vim.api.nvim_buf_get_lines(0, 0, -1, false) end
local function text() return table.concat(lines(), '\n') .. '\n' end

local function run()
  vim.fn.writefile(vim.fn.readfile(os.getenv('DOCUMENT'), 'b'), path, 'b')
  vim.cmd('edit ' .. vim.fn.fnameescape(path))
  local buffer = vim.api.nvim_get_current_buf()
  local exit_code = nil
  local client_id = vim.lsp.start_client({
    name = 'jsoncodec',
    cmd = { tool, 'lsp' },
    root_dir = work,
    init_options = { debounceMs = 50 },
    on_exit = function(code) exit_code = code end,
  })
  assert(client_id, 'the server did not start')
  vim.lsp.buf_attach_client(buffer, client_id)
  local client = vim.lsp.get_client_by_id(client_id)

  local function request(method, params)
    local replies = vim.lsp.buf_request_sync(buffer, method, params, 5000) or {}
    local reply = replies[client_id] or {}
    return reply.result, reply.err or reply.error  -- "error" in 0.7, "err" later
  end
  local function document() return { uri = vim.uri_from_bufnr(buffer) } end
  -- The byte column of `needle` on line `row` (0-based both).
  local function column(row, needle) return (lines()[row + 1]):find(needle, 1, true) - 1 end
  local function row_of(needle)
    for i, line in ipairs(lines()) do
      if line:find(needle, 1, true) then return i - 1 end
    end
  end
  local function diagnostics() return vim.diagnostic.get(buffer) end
  local function settle(count)
    return vim.wait(5000, function() return #diagnostics() == count end, 20)
  end

  check(settle(4), 'four diagnostics are published on open', diagnostics())
  local by_code = {}
  for _, d in ipairs(diagnostics()) do by_code[d.message:match("'([^']+)'") or d.message] = d end
  local function at(name, row, needle, severity)
    local d = by_code[name]
    check(d ~= nil and d.lnum == row and d.col == column(row, needle) and d.end_col == d.col + #needle and
      d.severity == severity, name .. ' is marked at its token, after the wide characters', d)
  end
  at('PolicyComment', 1, '"PolicyComment"', vim.diagnostic.severity.WARN)
  at('workflowComent', 4, '"workflowComent"', vim.diagnostic.severity.WARN)
  for _, d in ipairs(diagnostics()) do
    if d.message:find('abDestinationStorageNode') then
      check(d.lnum == 8 and d.col == column(8, '{"actionType"') and d.severity == vim.diagnostic.severity.ERROR,
        'the missing property is marked at its object\'s brace', d)
    elseif d.message:find('weekly') or d.message:find("did you mean 'week'") then
      check(d.lnum == 12 and d.col == column(12, '"weekly"'), 'the misspelled enum value is marked at its value', d)
    end
  end

  local _, refused = request('textDocument/formatting', { textDocument = document(), options = {} })
  check(refused ~= nil and refused.message:find('not formatted: the document is refused') ~= nil,
    'formatting refuses a refused document and says why', refused)

  -- The preferred quick fix of each diagnostic, one after the other. The
  -- ranges sent are Neovim's byte columns, not UTF-16 units: the server
  -- goes by its own state.
  local titles = {}
  for round = 1, 4 do
    local d = diagnostics()[1]
    if not d then break end
    local actions = request('textDocument/codeAction', {
      textDocument = document(),
      range = { start = { line = d.lnum, character = d.col }, ['end'] = { line = d.end_lnum, character = d.end_col } },
      context = { diagnostics = {} },
    }) or {}
    local preferred = nil
    for _, action in ipairs(actions) do
      if action.isPreferred then preferred = action end
    end
    if not check(preferred ~= nil, 'a preferred fix for diagnostic ' .. round, actions) then break end
    titles[#titles + 1] = preferred.title
    vim.lsp.util.apply_workspace_edit(preferred.edit, client.offset_encoding or 'utf-16')
    settle(4 - round)
  end
  check(#diagnostics() == 0, 'the preferred fixes leave no diagnostic', { titles, diagnostics(), text() })
  check(lines()[2]:find('"policyComment": "weekly', 1, true) ~= nil, 'the unknown key is renamed in place', lines()[2])
  check(text():find('"actionSchedulePeriod": "week",', 1, true) ~= nil, 'the enum value is replaced')
  check(text():find('"abDestinationStorageNode": [],', 1, true) ~= nil, 'the missing property is added', text())

  -- Completion of a key: a half-typed key in the action.
  local row = row_of('"actionSchedulePeriod"')
  vim.api.nvim_buf_set_lines(buffer, row, row, false, { '                    "actionRetr', '' })
  vim.api.nvim_buf_set_lines(buffer, row + 1, row + 2, false, {})
  local items = request('textDocument/completion',
    { textDocument = document(), position = { line = row, character = #'                    "actionRetr' } })
  items = items and (items.items or items) or {}
  local retries = nil
  for _, item in ipairs(items) do
    if item.label == 'actionRetries' then retries = item end
  end
  local held = false
  for _, item in ipairs(items) do
    if item.label == 'actionName' or item.label == 'actionSchedulePeriod' then held = true end
  end
  check(#items > 0 and not held, 'key completion leaves out the properties the object holds', #items)
  if check(retries ~= nil, 'key completion offers actionRetries', #items) then
    vim.lsp.util.apply_text_edits({ retries.textEdit }, buffer, 'utf-16')
    vim.api.nvim_buf_set_lines(buffer, row, row + 1, false, { lines()[row + 1] .. ',' })
    check(lines()[row + 1] == '                    "actionRetries": 0,', 'the key is completed with a value',
      lines()[row + 1])
  end

  -- Completion of a value: an enum's allowed texts.
  vim.api.nvim_buf_set_lines(buffer, row, row, false, { '                    "actionFailureImpact": "",' })
  local values = request('textDocument/completion',
    { textDocument = document(), position = { line = row, character = #'                    "actionFailureImpact": "' } })
  values = values and (values.items or values) or {}
  local labels = {}
  for _, item in ipairs(values) do labels[#labels + 1] = item.label end
  if check(table.concat(labels, '|') == 'continue|abort action|abort workflow', 'value completion offers the enum',
    labels) then
    vim.lsp.util.apply_text_edits({ values[2].textEdit }, buffer, 'utf-16')
    check(lines()[row + 1] == '                    "actionFailureImpact": "abort action",', 'the value is completed',
      lines()[row + 1])
  end
  check(settle(0), 'the completed document has no diagnostic', diagnostics())

  -- Hover on a key.
  local period = row_of('"actionSchedulePeriod"')
  local hover = request('textDocument/hover',
    { textDocument = document(), position = { line = period, character = column(period, 'actionSchedulePeriod') } })
  local said = hover and hover.contents and hover.contents.value or ''
  check(said:find('actionSchedulePeriod', 1, true) and said:find('required', 1, true) and said:find('week', 1, true)
    and said:find('reference', 1, true), 'hover describes the property', said)

  -- The outline.
  local symbols = request('textDocument/documentSymbol', { textDocument = document() }) or {}
  local policy = symbols[1] or {}
  local workflow = (policy.children or {})[1] or {}
  local action = (workflow.children or {})[1] or {}
  check(policy.name == 'Ünïcödé 😀 policy' and workflow.name == 'Homes 🏠' and action.name == 'backup-homes' and
    action.detail == 'action: backup / traditional', 'the outline names the policy, its workflow and its action',
    symbols)

  -- source.fixAll takes every preferred fix at once: a misspelled key and a
  -- misspelled enum value.
  local impact = row_of('"actionFailureImpact"')
  vim.api.nvim_buf_set_lines(buffer, impact, impact + 1, false,
    { '                    "actionFailureImpact": "abort actoin",' })
  local flow = row_of('"workflowName"')
  vim.api.nvim_buf_set_lines(buffer, flow, flow, false, { '            "workflowEnabeld": true,' })
  check(settle(2), 'a misspelled key and enum value are found', diagnostics())
  -- The same verdict by pull (Neovim 0.7 does not pull by itself).
  local pulled = request('textDocument/diagnostic', { textDocument = document() }) or {}
  check(pulled.kind == 'full' and #(pulled.items or {}) == 2, 'pulled diagnostics are the published ones', pulled)
  local all = request('textDocument/codeAction', {
    textDocument = document(),
    range = { start = { line = 0, character = 0 }, ['end'] = { line = 0, character = 0 } },
    context = { diagnostics = {}, only = { 'source.fixAll' } },
  }) or {}
  if check(#all == 1 and all[1].edit ~= nil, 'source.fixAll answers one action with an edit', all) then
    vim.lsp.util.apply_workspace_edit(all[1].edit, client.offset_encoding or 'utf-16')
    check(settle(0) and text():find('"workflowEnabled": true,', 1, true) ~= nil and
      text():find('"actionFailureImpact": "abort action",', 1, true) ~= nil,
      'source.fixAll renames the key and replaces the value', text())
  end

  -- A property the type does not know would be lost: no formatting.
  vim.api.nvim_buf_set_lines(buffer, 1, 1, false, { '    "owner": "storage team",' })
  check(settle(1), 'an unknown property is a warning', diagnostics())
  _, refused = request('textDocument/formatting', { textDocument = document(), options = {} })
  check(refused ~= nil and refused.message:find('would drop') ~= nil,
    'formatting refuses a document with unknown properties and says why', refused)
  vim.api.nvim_buf_set_lines(buffer, 1, 2, false, {})

  -- Formatting gives exactly jsoncodec format's text.
  local before = work .. '/before.json'
  vim.fn.writefile(lines(), before)
  local expected = vim.fn.system({ tool, 'format', before })
  local edits, err = request('textDocument/formatting', { textDocument = document(), options = {} })
  if check(edits ~= nil and #edits == 1, 'formatting answers one edit', err) then
    vim.lsp.util.apply_text_edits(edits, buffer, 'utf-16')
    check(text() == expected, 'the formatted text is jsoncodec format\'s', { text(), expected })
  end

  vim.lsp.stop_client(client_id)
  vim.wait(5000, function() return exit_code ~= nil end, 20)
  check(exit_code == 0, 'the server exits with 0 after shutdown and exit', exit_code)
end

local ok, problem = pcall(run)
if not ok then
  failures = failures + 1
  say('FAIL: ' .. tostring(problem))
end
say(failures == 0 and 'all steps passed' or (failures .. ' steps failed'))
io.stdout:flush()
vim.cmd(failures == 0 and 'qall!' or 'cquit! 1')
