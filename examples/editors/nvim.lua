-- jsoncodec lsp in Neovim 0.8 and later (put it in init.lua, or in a file
-- under plugin/). vim.lsp.start reuses the server of the same name and
-- root.
vim.api.nvim_create_autocmd('FileType', {
  pattern = 'json',
  callback = function(args)
    vim.lsp.start({
      name = 'jsoncodec',
      cmd = { 'jsoncodec', 'lsp' },
      root_dir = vim.fs.dirname(vim.api.nvim_buf_get_name(args.buf)),
      -- The pause in typing before diagnostics are published (ms).
      init_options = { debounceMs = 200 },
    })
    local options = { buffer = args.buf }
    vim.keymap.set('n', '<leader>a', vim.lsp.buf.code_action, options)
    vim.keymap.set('n', '<leader>f', function() vim.lsp.buf.format({ name = 'jsoncodec' }) end, options)
    -- Every preferred fix at once.
    vim.keymap.set('n', '<leader>F', function()
      vim.lsp.buf.code_action({ context = { only = { 'source.fixAll' } }, apply = true })
    end, options)
  end,
})
