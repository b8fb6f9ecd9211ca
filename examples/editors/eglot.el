;;; jsoncodec lsp in Emacs with eglot (built in from Emacs 29; a package
;;; before): add to init.el. M-x eglot in a JSON buffer, or the hook below,
;;; starts it.
(with-eval-after-load 'eglot
  (add-to-list 'eglot-server-programs
               '((json-mode json-ts-mode js-json-mode)
                 . ("jsoncodec" "lsp" :initializationOptions (:debounceMs 200)))))

(dolist (hook '(json-mode-hook json-ts-mode-hook js-json-mode-hook))
  (add-hook hook #'eglot-ensure))
;; C-c a (eglot-code-actions) offers the quick fixes; eglot-format-buffer
;; formats; imenu lists the policy, workflows and actions.
