-- jsoncodec lsp in Neovim 0.7 (put it in init.lua, or in a file under
-- plugin/). One server serves every JSON buffer.
local client_id = nil

vim.api.nvim_create_autocmd('FileType', {
  pattern = 'json',
  callback = function(args)
    if client_id == nil or vim.lsp.get_client_by_id(client_id) == nil then
      client_id = vim.lsp.start_client({
        name = 'jsoncodec',
        cmd = { 'jsoncodec', 'lsp' },
        root_dir = vim.fn.getcwd(),
        -- The pause in typing before diagnostics are published (ms).
        init_options = { debounceMs = 200 },
      })
    end
    if client_id ~= nil then
      vim.lsp.buf_attach_client(args.buf, client_id)
    end
    local options = { buffer = args.buf }
    vim.keymap.set('n', 'K', vim.lsp.buf.hover, options)
    vim.keymap.set('n', '<leader>a', vim.lsp.buf.code_action, options)
    vim.keymap.set('n', '<leader>f', vim.lsp.buf.formatting_sync, options)
    vim.keymap.set('n', '<leader>o', vim.lsp.buf.document_symbol, options)
    vim.bo[args.buf].omnifunc = 'v:lua.vim.lsp.omnifunc' -- <C-x><C-o> completes
  end,
})
